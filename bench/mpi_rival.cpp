// The rival of mpi_fields: the same propagation by FFTW's distributed transform, measured plans, transposed in between.
//
//   mpiexec -n P mpi_rival --from FOLDER/mpi_bench_from.lm [--distance METRES] [--repeats N] [--to FILE]
//
// Each rank reads its rows of the segmented file, transforms, multiplies the transposed spectrum by the transfer
// function (only inside the band), transforms back, and writes its rows as raw samples. Least and median of the whole
// and of the part without files are shown; planning does not count.
#include "LmlLarge.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <fftw3-mpi.h>

namespace
{
double Seconds()
{
    MPI_Barrier(MPI_COMM_WORLD);
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Print(const char* name, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("%-28s least %7.3f s  median %7.3f s\n", name, times.front(), times[times.size() / 2]);
}
} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    fftwf_mpi_init();
    std::string from = "mpi_bench_from.lm", to;
    double d = 0.01;
    int repeats = 5;
    for (int n = 1; n + 1 < argc; n += 2)
    {
        const std::string name = argv[n];
        if (name == "--from")
            from = argv[n + 1];
        else if (name == "--to")
            to = argv[n + 1];
        else if (name == "--distance")
            d = std::atof(argv[n + 1]);
        else if (name == "--repeats")
            repeats = std::atoi(argv[n + 1]);
    }
    if (to.empty())
        to = from + ".rival";
    int rank = 0, size = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    const LumoraLib::SegmentedField file(from.c_str());
    const std::ptrdiff_t nx = file.GetNx(), ny = file.GetNy();
    std::ptrdiff_t rows = 0, row = 0, columns = 0, column = 0;
    const std::ptrdiff_t local =
        fftwf_mpi_local_size_2d_transposed(ny, nx, MPI_COMM_WORLD, &rows, &row, &columns, &column);
    fftwf_complex* const data = fftwf_alloc_complex(static_cast<std::size_t>(local));
    const fftwf_plan forward =
        fftwf_mpi_plan_dft_2d(ny, nx, data, data, MPI_COMM_WORLD, FFTW_FORWARD, FFTW_MEASURE | FFTW_MPI_TRANSPOSED_OUT);
    const fftwf_plan back =
        fftwf_mpi_plan_dft_2d(ny, nx, data, data, MPI_COMM_WORLD, FFTW_BACKWARD, FFTW_MEASURE | FFTW_MPI_TRANSPOSED_IN);
    // As AsmProp limits the band.
    const double lambda = file.GetWavelength(), du = 1.0 / (static_cast<double>(nx) * file.GetPx()),
                 dv = 1.0 / (static_cast<double>(ny) * file.GetPy());
    const double uLimit = 1.0 / (std::sqrt(4.0 * du * du * d * d + 1.0) * lambda),
                 vLimit = 1.0 / (std::sqrt(4.0 * dv * dv * d * d + 1.0) * lambda);
    const float scale = static_cast<float>(1.0 / (static_cast<double>(nx) * static_cast<double>(ny)));
    const auto multiply = [&]
    {
        for (std::ptrdiff_t i = 0; i < columns; ++i)
        {
            const std::ptrdiff_t iu = column + i;
            const double u = du * static_cast<double>(iu < nx / 2 ? iu : iu - nx);
            for (std::ptrdiff_t j = 0; j < ny; ++j)
            {
                const double v = dv * static_cast<double>(j < ny / 2 ? j : j - ny);
                float* const c = data[i * ny + j];
                if (std::fabs(u) > uLimit || std::fabs(v) > vLimit)
                {
                    c[0] = c[1] = 0.0f;
                    continue;
                }
                const double w = 1.0 / (lambda * lambda) - u * u - v * v;
                const double phase = 6.283185307179586 * d * std::sqrt(w > 0.0 ? w : 0.0);
                const std::complex<float> h(static_cast<float>(std::cos(phase)), static_cast<float>(std::sin(phase)));
                const std::complex<float> p = std::complex<float>(c[0], c[1]) * h * scale;
                c[0] = p.real();
                c[1] = p.imag();
            }
        }
    };
    std::vector<double> whole, arithmetic;
    for (int n = 0; n < repeats + 1; ++n)
    {
        const double start = Seconds();
        file.Read(0, row, static_cast<std::int32_t>(nx), static_cast<std::int32_t>(rows),
                  reinterpret_cast<LumoraLib::Complex*>(data), static_cast<std::size_t>(nx));
        const double read = Seconds();
        fftwf_execute(forward);
        multiply();
        fftwf_execute(back);
        const double done = Seconds();
        // A new file each time, as ours is.
        if (rank == 0)
            close(open(to.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0666));
        MPI_Barrier(MPI_COMM_WORLD);
        const int out = open(to.c_str(), O_RDWR);
        const std::size_t bytes = static_cast<std::size_t>(rows * nx) * sizeof(fftwf_complex);
        for (std::size_t at = 0; at < bytes;)
        {
            const ssize_t wrote =
                pwrite(out, reinterpret_cast<char*>(data) + at, std::min<std::size_t>(bytes - at, 1 << 28),
                       static_cast<off_t>(static_cast<std::size_t>(row * nx) * sizeof(fftwf_complex) + at));
            if (wrote <= 0)
                MPI_Abort(MPI_COMM_WORLD, 1);
            at += static_cast<std::size_t>(wrote);
        }
        if (fsync(out) != 0 || close(out) != 0)
            MPI_Abort(MPI_COMM_WORLD, 1);
        const double end = Seconds();
        if (n > 0)
        {
            whole.push_back(end - start);
            arithmetic.push_back(done - read);
        }
    }
    if (rank == 0)
    {
        double load[3] = {};
        static_cast<void>(getloadavg(load, 3));
        std::printf("FFTW over MPI, %ld by %ld samples, %d ranks of one thread; load %.1f\n", static_cast<long>(nx),
                    static_cast<long>(ny), size, load[0]);
        Print("from file to file", whole);
        Print("transforms and factors alone", arithmetic);
        std::remove(to.c_str());
    }
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(back);
    fftwf_free(data);
    fftwf_mpi_cleanup();
    MPI_Finalize();
    return 0;
}
