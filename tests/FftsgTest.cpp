// The split-radix engine behind the field's transform: its exact small cases, its tables and columns against a double
// transform, shapes, and lengths that it does not take.
#include "Fftsg.h"
#include "Oracle.h"

#include <tuple>

namespace
{
using namespace lmltest;
using Samples = std::vector<Complex>;

Samples Random(std::size_t count, std::uint32_t seed)
{
    Lumora f(int(count) > 0 ? int(count) : 1, 1);
    FillRandom(f, seed);
    return Samples(f.GetDataPointer(), f.GetDataPointer() + count);
}

float* Floats(Samples& x)
{
    return reinterpret_cast<float*>(x.data());
}

bool Same(const Samples& a, const Samples& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Complex)) == 0);
}

struct Tables
{
    explicit Tables(int points)
        : nw(points / 2), ip(std::size_t(points < 2 ? 2 : points), -1), w(std::size_t(points < 2 ? 1 : points / 2), 7.0)
    {
        ip[0] = 0;
    }
    int nw;
    std::vector<int> ip;
    std::vector<double> w;
};

TEST(Fftsg, TinyLengths)
{
    const struct
    {
        int sign;
        std::vector<float> in, out;
    } cases[] = {
        {-1, {3, -4}, {3, -4}},
        {1, {1, 2, 10, 30}, {11, 32, -9, -28}},
        {-1, {1, 0, 0, 0, 0, 0, 0, 0}, {1, 0, 1, 0, 1, 0, 1, 0}},
        {0, {0, 0, 1, 0, 0, 0, 0, 0}, {1, 0, 0, 1, -1, 0, 0, -1}},
        {-7, {0, 0, 1, 0, 0, 0, 0, 0}, {1, 0, 0, -1, -1, 0, 0, 1}},
    };
    for (const auto& c : cases)
    {
        const std::size_t n = c.in.size() / 2;
        Samples x(n);
        std::copy(c.in.begin(), c.in.end(), Floats(x));
        FftsgTransform1d(x.data(), int(n), c.sign);
        for (std::size_t f = 0; f < 2 * n; ++f)
            EXPECT_EQ(Floats(x)[f], c.out[f]) << "N " << n << " sign " << c.sign << " float " << f;
    }
}

TEST(Fftsg, RowsAndColumnsAreTheOneDimensionalTransformBitByBit)
{
    const int shapes[][2] = {{1, 1}, {2, 1},  {1, 2},    {4, 1},    {1, 4},  {1, 64},
                             {2, 2}, {2, 32}, {64, 256}, {1, 2048}, {512, 8}};
    for (const auto& [nx, ny] : shapes)
        for (const int sign : {-1, 1})
        {
            Samples steps = Random(std::size_t(nx * ny), 5), whole = steps;
            FftsgTransform2d(whole.data(), nx, ny, sign);
            for (int j = 0; j < ny; ++j)
                FftsgTransform1d(&steps[std::size_t(nx * j)], nx, sign);
            for (int i = 0; i < nx; ++i)
            {
                Samples line;
                for (int j = 0; j < ny; ++j)
                    line.push_back(steps[std::size_t(i + nx * j)]);
                FftsgTransform1d(line.data(), ny, sign);
                for (int j = 0; j < ny; ++j)
                    steps[std::size_t(i + nx * j)] = line[std::size_t(j)];
            }
            EXPECT_TRUE(Same(whole, steps)) << nx << " by " << ny;
        }
}

TEST(Fftsg, TablesRecordTheirSize)
{
    for (const int nw : {0, 1, 2, 4, 64}) // up to 2 there are no factors
    {
        Tables t(2 * nw);
        FftsgMakeTables(nw, t.ip.data(), nw > 2 ? t.w.data() : nullptr);
        EXPECT_EQ(t.ip[0], nw);
        EXPECT_EQ(t.ip[1], 1);
    }
}

// Angles of a slice and of the table made for its length are the same numbers, so the results agree bit by bit.
TEST(Fftsg, LongTablesServeShortRows)
{
    for (int built = 1; built <= 8192; built *= 2)
    {
        Tables longer(built);
        FftsgMakeTables(longer.nw, longer.ip.data(), longer.w.data());
        for (int n = 1; n <= built; n *= 2)
        {
            const Samples x = Random(std::size_t(n), 3);
            Samples forward = x;
            Samples backward = x;
            Samples want = x;
            FftsgForwardRow(2 * n, Floats(forward), longer.ip.data(), longer.nw, longer.w.data());
            FftsgTransform1d(want.data(), n, 1);
            EXPECT_TRUE(Same(forward, want)) << built << " for " << n;
            want = x;
            FftsgBackwardRow(2 * n, Floats(backward), longer.ip.data(), longer.nw, longer.w.data());
            FftsgTransform1d(want.data(), n, -1);
            EXPECT_TRUE(Same(backward, want)) << built << " for " << n;
        }
    }
}

TEST(Fftsg, ColumnsRebuildTablesOnlyWhenTheyAreTooSmall)
{
    for (const auto& [built, n1, kept] : {std::tuple{1024, 64, true},
                                          {1024, 32, true},
                                          {64, 64, true},
                                          {64, 128, false},
                                          {4, 512, false},
                                          {1, 16, false}})
        for (int columns : {1, 2, 4, 8})
        {
            Tables t(built > n1 ? built : n1);
            FftsgMakeTables(built / 2, t.ip.data(), t.w.data());
            Samples x = Random(std::size_t(n1 * columns), 8);
            std::vector<float*> rows;
            for (int i = 0; i < n1; ++i)
                rows.push_back(Floats(x) + 2 * columns * i);
            std::vector<float> gathered(std::size_t(n1 * (columns > 2 ? 8 : 2 * columns)));
            std::vector<Value> want = ToDouble(x.data(), x.size());
            for (int c = 0; c < columns; ++c)
            {
                std::vector<Value> line;
                for (int i = 0; i < n1; ++i)
                    line.push_back(want[std::size_t(c + columns * i)]);
                Dft(line, -1);
                for (int i = 0; i < n1; ++i)
                    want[std::size_t(c + columns * i)] = line[std::size_t(i)];
            }
            FftsgColumns(n1, 2 * columns, -1, rows.data(), gathered.data(), t.ip.data(), t.w.data());
            EXPECT_EQ(t.ip[0], kept ? built / 2 : n1 / 2);
            EXPECT_LE(ErrorConstant(x.data(), want), 1.5) << built << " for " << columns << " columns of " << n1;
        }
}

// Buffers end where the arrays end, so that a checked build sees every step outside.
TEST(Fftsg, UnsupportedLengthsStayInside)
{
    for (int n : {-4, 0, 3, 5, 6, 7, 9, 12, 17, 24, 31, 48, 100, 192, 257, 1000, 3000})
    {
        const Samples x = Random(std::size_t(n < 0 ? 0 : n), 4);
        for (int sign : {-1, 1})
        {
            Samples y = x;
            FftsgTransform1d(y.data(), n, sign);
            EXPECT_TRUE(Same(x, y)) << n;
        }
    }
    const Failure tooLong{ERR_SOMETHING, "", "an axis is longer than a transform takes (2^29 samples)"};
    for (const int n : {1 << 30, std::numeric_limits<int>::max()}) // before anything is allocated or touched
    {
        const Failure failures[] = {Catch([n] { FftsgTransform1d(nullptr, n, 1); }),
                                    Catch([n] { FftsgTransform2d(nullptr, n, 1, 1); }),
                                    Catch([n] { FftsgTransform2d(nullptr, 1, n, 1); }),
                                    Catch([n] { FftsgColumns(n, 8, 1, nullptr, nullptr, nullptr, nullptr); })};
        for (const Failure& f : failures)
            EXPECT_TRUE(f.code == tooLong.code && f.message == tooLong.message);
    }
    const int shapes[][2] = {{3, 5}, {6, 4}, {5, 64}, {24, 16}, {7, 1}, {1, 7}, {3, 128}, {128, 3}, {96, 96}, {44, 16}};
    for (const auto& shape : shapes)
    {
        Samples y = Random(std::size_t(shape[0] * shape[1]), 6);
        FftsgTransform2d(y.data(), shape[0], shape[1], -1);
        if ((shape[1] & (shape[1] - 1)) != 0 && (shape[0] & (shape[0] - 1)) != 0)
        {
            EXPECT_TRUE(Same(y, Random(y.size(), 6)));
        }
    }
    // Tables too small for the row.
    Tables t(16);
    FftsgMakeTables(t.nw, t.ip.data(), t.w.data());
    Samples y = Random(32, 6);
    FftsgForwardRow(64, Floats(y), t.ip.data(), t.nw, t.w.data());
    EXPECT_TRUE(Same(y, Random(32, 6)));
}
} // namespace
