// The work areas of the split-radix engine's whole transforms, for callers who take all memory before they change
// anything.
#ifndef LML_FFTSGAREAS_H
#define LML_FFTSGAREAS_H

#include "LmlTypes.h"
#include "base/Progress.h"
#include "base/Reduce.h"

#include <memory>

namespace LumoraLib::detail
{
/// What FftsgTransform1d (one row) or FftsgTransform2d allocates. The constructors report as those do, code 1, and take
/// sizes of 1 to kLongestTransform; Run() does the rest of the transform and cannot fail, unless it is
/// watched. Without sizes it does
/// nothing.
class FftsgAreas
{
public:
    FftsgAreas() = default;
    explicit FftsgAreas(int n);
    FftsgAreas(int nx, int ny);
    void Run(Complex* data, int sign) const { Run(data, sign, nullptr); }
    /// With a progress of 2 * ny units, which is told of each row and may end the work there.
    void Run(Complex* data, int sign, Progress* progress) const;

private:
    template <class T>
    using Area = std::unique_ptr<T[], FreeMemory>;

    int nx_ = 0;
    int ny_ = 0;
    Area<float*> rows_; // none for one row alone
    Area<int> ip_;
    Area<double> w_;
    Area<float> t_;
};
} // namespace LumoraLib::detail

#endif
