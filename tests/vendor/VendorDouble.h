// What the test double of the vendor's DFT library saw.
#ifndef LML_TEST_VENDORDOUBLE_H
#define LML_TEST_VENDORDOUBLE_H

namespace vendordouble
{
struct Record
{
    int live = 0;         // descriptors created and not freed
    int created = 0;      // descriptors created in all
    int misuse = 0;       // calls that break the published order or settings
    int threads = 1;      // count in force; counts below 1 are ignored
    int dynamic = -1;     // flag passed last
    bool refuse = false;  // makes the next creations fail
    long lengths[2] = {}; // lengths of the last descriptor, slowest first
};
Record& Seen();
} // namespace vendordouble

#endif
