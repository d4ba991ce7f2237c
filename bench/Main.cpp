// The benchmark program: ours and the rivals in one process. --quick leaves out the largest sizes;
// --isa=sse2|avx2|avx512 caps ours.
#include "Bench.h"

#include <cstring>

int main(int argc, char** argv)
{
    bool quick = false;
    int kept = 1;
    for (int n = 1; n < argc; ++n)
    {
        if (std::strcmp(argv[n], "--quick") == 0)
            quick = true;
        else if (std::strcmp(argv[n], "--isa=sse2") == 0)
            LumoraLib::detail::CapIsa(LumoraLib::detail::Isa::Sse2);
        else if (std::strcmp(argv[n], "--isa=avx2") == 0)
            LumoraLib::detail::CapIsa(LumoraLib::detail::Isa::Avx2);
        else if (std::strcmp(argv[n], "--isa=avx512") != 0)
            argv[kept++] = argv[n];
    }
    argc = kept;
    fftwf_init_threads();
    lmlbench::AddTransforms(quick);
    lmlbench::AddPropagation(quick);
    lmlbench::AddFields(quick);
    lmlbench::AddPoints(quick);
    lmlbench::AddFiles(quick);
    const char* const names[] = {"SSE2", "AVX2", "AVX-512"};
    benchmark::AddCustomContext("isa", names[static_cast<int>(LumoraLib::detail::CurrentIsa())]);
    benchmark::AddCustomContext("library", LumoraLib::GetVersionString());
    benchmark::AddCustomContext("compiler", LumoraLib::GetTargetEnvString());
    benchmark::AddCustomContext("fftw", fftwf_version);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
