// The C++ side of bench/python_calls.py: one AsmProp() on a caller's samples, timed inside, for a process that loads
// it.
#include <LmlLumora.h>

#include <chrono>
#include <ctime>

extern "C" LML_API void AsmPropSeconds(LumoraLib::Complex* samples, int n, double pitch, double wavelength,
                                       double distance, int threads, double* wall, double* cpu)
{
    using namespace LumoraLib;
    using Clock = std::chrono::steady_clock;
    SetNumThreads(threads);
    Lumora field(0, 0, pitch, pitch, wavelength);
    field.SetNx(n).SetNy(n).Init(samples);
    const std::clock_t ticks = std::clock();
    const Clock::time_point start = Clock::now();
    field.AsmProp(distance);
    *wall = std::chrono::duration<double>(Clock::now() - start).count();
    *cpu = static_cast<double>(std::clock() - ticks) / CLOCKS_PER_SEC;
}
