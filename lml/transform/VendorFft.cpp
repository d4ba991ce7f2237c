// Adapter to the vendor's DFT library: the only unit that knows its interface, seven operations of it.
#include "transform/VendorFft.h"

#include <mkl_dfti.h>
#include <mkl_service.h>

namespace LumoraLib::detail
{
namespace
{
/// Commits, computes once in place and frees. A null handle is one that could not be created.
void ComputeOnce(DFTI_DESCRIPTOR_HANDLE handle, Complex* data, int sign)
{
    if (handle == nullptr)
        return;
    static_cast<void>(DftiCommitDescriptor(handle));
    static_cast<void>(sign < 0 ? DftiComputeForward(handle, data) : DftiComputeBackward(handle, data));
    static_cast<void>(DftiFreeDescriptor(&handle));
}
} // namespace

void VendorTransform2d(Complex* data, std::int32_t nx, std::int32_t ny, int sign)
{
    DFTI_DESCRIPTOR_HANDLE handle = nullptr;
    MKL_LONG lengths[2] = {ny, nx}; // slowest index first
    static_cast<void>(DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_COMPLEX, 2, lengths));
    ComputeOnce(handle, data, sign);
}

void VendorTransform1d(Complex* data, std::int32_t n, int sign)
{
    DFTI_DESCRIPTOR_HANDLE handle = nullptr;
    static_cast<void>(DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_COMPLEX, 1, static_cast<MKL_LONG>(n)));
    ComputeOnce(handle, data, sign);
}

void VendorSetThreads(int count)
{
    mkl_set_num_threads(count);
}

void VendorSetDynamic(bool dynamic)
{
    mkl_set_dynamic(dynamic ? 1 : 0);
}
} // namespace LumoraLib::detail
