// Test double of the vendor's DFT library: the seven operations that the adapter uses, transforms computed by
// definition in double precision. Small lengths only.
#include "VendorDouble.h"

#include "mkl_dfti.h"
#include "mkl_service.h"

#include <cmath>
#include <complex>
#include <cstdarg>
#include <cstddef>
#include <vector>

struct DFTI_DESCRIPTOR
{
    long rows;
    long columns;
    bool committed;
};

namespace
{
using Value = std::complex<double>;

/// One transform of n values that stand `stride` apart.
void Definition(std::vector<Value>& data, std::size_t first, std::size_t n, std::size_t stride, double sign)
{
    const double step = sign * 2.0 * 3.14159265358979323846 / static_cast<double>(n);
    std::vector<Value> result(n);
    for (std::size_t m = 0; m < n; ++m)
        for (std::size_t i = 0; i < n; ++i)
            result[m] += data[first + i * stride] * std::polar(1.0, step * static_cast<double>(i * m % n));
    for (std::size_t m = 0; m < n; ++m)
        data[first + m * stride] = result[m];
}

long Compute(DFTI_DESCRIPTOR_HANDLE handle, void* inOut, double sign)
{
    if (handle == nullptr || !handle->committed)
    {
        ++vendordouble::Seen().misuse;
        return 1;
    }
    const std::size_t rows = static_cast<std::size_t>(handle->rows);
    const std::size_t columns = static_cast<std::size_t>(handle->columns);
    std::complex<float>* const samples = static_cast<std::complex<float>*>(inOut);
    std::vector<Value> data(samples, samples + rows * columns);
    for (std::size_t j = 0; j < rows; ++j)
        Definition(data, j * columns, columns, 1, sign);
    for (std::size_t i = 0; i < columns; ++i)
        Definition(data, i, rows, columns, sign);
    for (std::size_t n = 0; n < data.size(); ++n)
        samples[n] = std::complex<float>(data[n]);
    return 0;
}
} // namespace

namespace vendordouble
{
Record& Seen()
{
    static Record record;
    return record;
}
} // namespace vendordouble

extern "C"
{
    MKL_LONG DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* handle, enum DFTI_CONFIG_VALUE precision,
                                  enum DFTI_CONFIG_VALUE domain, MKL_LONG dimension, ...)
    {
        vendordouble::Record& seen = vendordouble::Seen();
        if (seen.refuse)
            return 1;
        if (precision != DFTI_SINGLE || domain != DFTI_COMPLEX || dimension < 1 || dimension > 2)
            ++seen.misuse;
        va_list arguments;
        va_start(arguments, dimension);
        if (dimension == 1)
        {
            seen.lengths[0] = 1;
            seen.lengths[1] = va_arg(arguments, MKL_LONG);
        }
        else
        {
            const MKL_LONG* const lengths = va_arg(arguments, MKL_LONG*);
            seen.lengths[0] = lengths[0];
            seen.lengths[1] = lengths[1];
        }
        va_end(arguments);
        *handle = new DFTI_DESCRIPTOR{seen.lengths[0], seen.lengths[1], false};
        ++seen.live;
        ++seen.created;
        return 0;
    }

    MKL_LONG DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE handle)
    {
        handle->committed = true;
        return 0;
    }

    MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut, ...)
    {
        return Compute(handle, inOut, -1.0);
    }

    MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut, ...)
    {
        return Compute(handle, inOut, 1.0);
    }

    MKL_LONG DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* handle)
    {
        --vendordouble::Seen().live;
        delete *handle;
        *handle = nullptr;
        return 0;
    }

    void mkl_set_num_threads(int count)
    {
        if (count >= 1)
            vendordouble::Seen().threads = count;
    }

    void mkl_set_dynamic(int flag)
    {
        vendordouble::Seen().dynamic = flag;
    }
}
