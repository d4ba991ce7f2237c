// The command lml-mpi: those subcommands of lml that many processes share, over MPI.
#include "Program.h"
#include "Subcommands.h"

#include <LmlMpi.h>

int main(int argc, char** argv)
{
    using namespace command;
    return RunProgram(
        argc, argv, "lml-mpi", "Subcommands of lml on segmented files, shared by the processes of an MPI job",
        "Start it with mpiexec or srun: mpiexec -n 8 lml-mpi propagate object.lm hologram.lm --distance 30cm --method "
        "asm\n"
        "Lengths take units (532nm, 8um, 15cm; a bare number is metres), angles too (0.3deg, 5mrad).\n",
        [](CLI::App& app, Invocation& invocation)
        {
            AddPropagate(app, invocation);
            AddPoints(app, invocation);
            AddManual(app, invocation);
        },
        [](const CLI::App& app, Invocation& invocation)
        {
            if (app.got_subcommand("manual"))
                return invocation.Run(); // at build time, where no job can be started
            int provided = 0;
            MPI_Init_thread(nullptr, nullptr, MPI_THREAD_SERIALIZED, &provided);
            int code = kFailed;
            {
                LumoraLib::SetErrorHandling(LumoraLib::ERROR_HANDLING_THROW);
                LumoraLib::MpiRanks ranks(MPI_COMM_WORLD);
                invocation.ranks = &ranks;
                code = invocation.Run();
            }
            MPI_Finalize();
            return code;
        });
}
