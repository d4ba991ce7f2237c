// Faults at the n-th call: what FaultsTest asks of the functions in shim.cpp that stand before the C library's.
#ifndef LML_FAULTS_H
#define LML_FAULTS_H

namespace faults
{
enum Kind
{
    Allocation, ///< malloc and its kin, mmap
    FileCall    ///< opening, transfers, positions, flushing and closing, names
};
enum Way
{
    Fail,    ///< the n-th call reports a failure and does nothing
    FailOn,  ///< so do all behind it
    Short,   ///< the n-th transfer moves half of its bytes and reports that; nothing else counts
    Kill,    ///< the process ends before the n-th call, with what was buffered
    KillTorn ///< the process ends within the n-th write, half of whose bytes are in the file
};
constexpr int kKilled = 77; ///< exit code of a killed process

/// Counts the calls of a kind from now on and makes a fault at the n-th, from 1; 0 counts only.
void Arm(Kind kind, Way way, int n);
/// No more faults. Returns the number of calls of the kind since Arm.
int Disarm();
/// Streams opened and not closed since the process began.
int OpenStreams();
} // namespace faults

#endif
