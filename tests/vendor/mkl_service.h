// Thread settings of the vendor's interface, declared for the test double in VendorDouble.cpp.
#ifndef LML_TEST_MKL_SERVICE_H
#define LML_TEST_MKL_SERVICE_H

extern "C"
{
    void mkl_set_num_threads(int count);
    void mkl_set_dynamic(int flag);
}

#endif
