// Points as arrays of float64, a point a row: x, y, z, amplitude, phase.
#ifndef LUMORA_PYTHON_POINTS_H
#define LUMORA_PYTHON_POINTS_H

#include "Bind.h"

#include <vector>

namespace LumoraLib::python
{
using Rows = py::array_t<double, py::array::c_style | py::array::forcecast>;

static_assert(sizeof(CloudPoint) == 5 * sizeof(double), "a row of an array is a point");

/// The points of an array of 3 to 5 columns; one of 5 is used as it is.
class Points
{
public:
    explicit Points(const Rows& rows) : rows_(rows)
    {
        if (rows.ndim() != 2 || rows.shape(1) < 3 || rows.shape(1) > 5)
            throw py::value_error("points are an array of shape (n, 3), (n, 4) or (n, 5): x, y, z in metres, "
                                  "amplitude (1), phase in radians (0)");
        count_ = rows.shape(0);
        data_ = reinterpret_cast<const CloudPoint*>(rows.data());
        const py::ssize_t columns = rows.shape(1);
        if (columns == 5)
            return;
        for (py::ssize_t n = 0; n < count_; ++n)
        {
            const double* const row = rows.data() + n * columns;
            filled_.push_back({row[0], row[1], row[2], columns > 3 ? row[3] : 1.0, 0.0});
        }
        data_ = filled_.data();
    }
    const CloudPoint* Data() const { return data_; }
    std::int64_t Count() const { return count_; }

private:
    Rows rows_;
    std::vector<CloudPoint> filled_;
    const CloudPoint* data_ = nullptr;
    std::int64_t count_ = 0;
};
} // namespace LumoraLib::python

#endif
