// Large fields on many processes, over MPI: the component lml::mpi. Operations of LmlLarge.h are shared by the ranks of
// a communicator, on one machine or on many.
#ifndef LML_LMLMPI_H
#define LML_LMLMPI_H

#include "LmlLarge.h"

#include <memory>

#ifndef OMPI_SKIP_MPICXX
#define OMPI_SKIP_MPICXX // the interface of C is all that is wanted
#endif
#ifndef MPICH_SKIP_MPICXX
#define MPICH_SKIP_MPICXX
#endif
#include <mpi.h>

namespace LumoraLib
{
/// The ranks of an MPI communicator. Make one on every rank, behind MPI_Init_thread, and give it to operations:
///
///     int provided = 0;
///     MPI_Init_thread(&argc, &argv, MPI_THREAD_SERIALIZED, &provided);
///     {
///         MpiRanks ranks(MPI_COMM_WORLD);
///         LargeOptions options;
///         options.ranks = &ranks;
///         LargeAsmProp("object.lm", "hologram.lm", 0.3, options); // on all ranks
///     }
///     MPI_Finalize();
///
/// It has a communicator of its own, so that its messages meet no others. Waiting ranks sleep between looks at their
/// messages, for the processors belong to the arithmetic: after a long wait a message is seen up to 0.5 ms late.
///
/// A failure inside MPI, such as a rank that is gone, ends the job by MPI's means: what is left of files is what a kill
/// leaves.
class LML_API MpiRanks final : public LargeRanks
{
public:
    /// By all ranks of the communicator together. Errors: code 6, "LumoraLib::MpiRanks" (MPI has not begun, or knows
    /// nothing of threads: MPI_THREAD_SERIALIZED is needed).
    explicit MpiRanks(MPI_Comm communicator);
    /// By all ranks together, before MPI_Finalize.
    ~MpiRanks() override;

    int GetRank() const override;
    int GetSize() const override;
    void Broadcast(void* data, std::size_t bytes, int from) override;
    std::int64_t GetLargest(std::int64_t value) override;
    void Exchange(const Complex* from, const Samples* send, Complex* to, const Samples* receive) override;
    void ResetCounter() override;
    std::int64_t AddToCounter(std::int64_t value) override;

private:
    struct State;
    std::unique_ptr<State> state_;
};
} // namespace LumoraLib

#endif
