// The part of the vendor's DFT interface that the adapter uses, declared for the test double in VendorDouble.cpp.
#ifndef LML_TEST_MKL_DFTI_H
#define LML_TEST_MKL_DFTI_H

#define MKL_LONG long

enum DFTI_CONFIG_VALUE
{
    DFTI_COMPLEX = 32,
    DFTI_SINGLE = 35
};

struct DFTI_DESCRIPTOR;
typedef struct DFTI_DESCRIPTOR* DFTI_DESCRIPTOR_HANDLE;

extern "C"
{
    /// After the dimension stands the length (one dimension) or a pointer to the lengths (more).
    MKL_LONG DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* handle, enum DFTI_CONFIG_VALUE precision,
                                  enum DFTI_CONFIG_VALUE domain, MKL_LONG dimension, ...);
    MKL_LONG DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE handle);
    MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut, ...);
    MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut, ...);
    MKL_LONG DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* handle);
}

#endif
