// Synthesis, changes of size, shifts, superposition and drawing: against the formulas, inside the buffer, refusals
// whole.
#include "TestTools.h"

#include <array>
#include <set>

using namespace lmltest;

namespace
{

Lumora Numbered(int nx, int ny)
{
    Lumora f(nx, ny, 2e-6, 3e-6);
    for (std::size_t n = 0; n < f.N(); ++n)
        f[n] = Complex(static_cast<double>(n + 1), -static_cast<double>(n));
    return f;
}
} // namespace

// --------------------------------------------------------------------------------------------------------- synthesis

TEST(Modify, SetRectClampsToTheGrid)
{
    const struct
    {
        double wx, wy;
        int i0, i1, j0, j1;
    } table[] = {{4, 2, 6, 10, 3, 5},   {5, 2, 6, 11, 3, 5},       {0, 2, 0, 0, 0, 0}, // -2.5 rounds to -2, 2.5 to 3
                 {100, 2, 0, 16, 3, 5}, {1e9, 1e300, 0, 16, 0, 8}, {4, -2, 0, 0, 0, 0},    {-4, 2, 0, 0, 0, 0},
                 {kNan, 2, 0, 0, 0, 0}, {16, 8, 0, 16, 0, 8},      {4e12, 3, 0, 16, 3, 6}, {4, kNan, 0, 0, 0, 0}};
    for (const Threads threads : EachTeam({1, 3}))
        for (const auto& t : table)
        {
            Lumora f(16, 8, 1e-6, 1e-6);
            FillRandom(f);
            f.Form() = POLAR_SPECTRUM;
            f.SetRect(t.wx * 1e-6, t.wy * 1e-6, 0.75);
            EXPECT_EQ(f.Form(), POLAR_SPECTRUM);
            for (const auto [i, j] : Grid(16, 8))
            {
                const bool inside = i >= t.i0 && i < t.i1 && j >= t.j0 && j < t.j1;
                EXPECT_TRUE(f.GetPixel(i, j) == Complex(inside ? 0.75 : 0.0, 0.0)) << t.wx << ": " << i << ", " << j;
            }
        }
    Lumora row(8, 1, 1e-6, 1e-6);
    row.SetRect(4e-6, 0.0, 2.0);
    EXPECT_EQ(row.GetSquareSum(), 16.0);
}

TEST(Modify, Gaussians)
{
    Lumora f(16, 8, 1e-6, 2e-6);
    f.Form() = POLAR_SPECTRUM;
    f.SetGaussian(3e-6, 2.5, 1.5);
    EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
    Lumora s(16, 8, 1e-6, 2e-6);
    s.Form() = SPECTRUM;
    s.SetSeparableGaussian(3e-6, 5e-6, 4.0, 2.0, 0.5);
    EXPECT_EQ(s.Form(), COMPLEX_AMPLITUDE);
    for (const auto [i, j] : Grid(16, 8))
    {
        const double x = (i - 8) * 1e-6;
        const double y = (j - 4) * 2e-6;
        EXPECT_NEAR(f.GetReal(i, j), 1.5 * std::exp(-std::pow(std::hypot(x, y) / 3e-6, 2.5)), 1e-7);
        EXPECT_NEAR(s.GetReal(i, j),
                    0.5 * std::exp(-std::pow(std::fabs(x) / 3e-6, 4.0) - std::pow(std::fabs(y) / 5e-6, 4.0)), 1e-7);
        EXPECT_EQ(f.GetImag(i, j), 0.0);
        EXPECT_EQ(s.GetImag(i, j), 0.0);
    }
    Lumora other(s);
    other.SetSeparableGaussian(3e-6, 5e-6, 4.0, 17.0, 0.5); // kept: the order in y has no effect
    EXPECT_TRUE(SameBits(other, s));
    EXPECT_EQ(f.GetReal(8, 4), 1.5);
}

TEST(Modify, PlaneWaves)
{
    const Vector directions[] = {Vector(0.1, -0.05, 1.0), Vector(0, 0, 1), Vector(0, 0, 0), Vector(-3, 4, 1),
                                 Vector(0, 0, -7)};
    for (const Vector& direction : directions)
        for (const Threads threads : EachTeam({1, 3}))
        {
            Lumora start(64, 16, 1e-6, 1.5e-6, 5e-7);
            FillRandom(start, 9);
            start.Form() = SPECTRUM; // not looked at
            start.SetOrigin(Vector(3e-6, -2e-6, 1.0));
            const Vector d = direction.GetNormalized();
            std::vector<Lumora> first;
            InEveryForm(
                [&]
                {
                    std::vector<Lumora> f(4, start);
                    f[0].MultiplyPlaneWave(direction, 0.7);
                    f[1].MultiplyPlaneWave(d.x, d.y, LumoraLib::Phase(0.7));
                    f[2].SetPlaneWave(direction, 0.7);
                    f[3].SetPlaneWave(d.x, d.y, LumoraLib::Phase(0.7));
                    first = first.empty() ? f : first;
                    for (std::size_t n = 0; n < 4; ++n)
                    {
                        EXPECT_TRUE(SameBits(f[n], first[n])) << n;
                        EXPECT_EQ(f[n].Form(), SPECTRUM);
                    }
                });
            for (const auto [i, j] : Grid(64, 16))
            {
                const double theta = start.k() * (d.x * (3e-6 + start.X(i)) + d.y * (start.Y(j) - 2e-6)) + 0.7;
                const Value factor = std::polar(1.0, theta);
                for (std::size_t n = 0; n < 4; ++n)
                    EXPECT_LT(std::abs(At(first[n], i, j) - (n < 2 ? At(start, i, j) * factor : factor)), 3e-7);
            }
        }
}

// ------------------------------------------------------------------------------------------------------ sizes

TEST(Modify, ReduceByAverage)
{
    for (const auto& [n, m, ny] : {std::tuple{1, 1, 8}, {0, 2, 8}, {3, 0, 8}, {33, 32, 8}, {3, 2, 8}, {1, 0, 1}})
    {
        const Lumora old = Numbered(16, ny);
        Lumora f(old);
        f.SetWindow(2, 3, 0, 1);
        f.ReduceByAverage(n, m);
        const int bx = 1 << (n % 32);
        const int by = 1 << (m % 32);
        ASSERT_EQ(f.GetNx(), 16 / bx);
        ASSERT_EQ(f.GetNy(), ny / by);
        EXPECT_EQ(f.GetPx(), 2e-6 * bx);
        EXPECT_EQ(f.GetPy(), 3e-6 * by);
        EXPECT_EQ(f.Window().right, f.GetNx());
        for (const auto [i, j] : Grid(f))
        {
            double mean = 0;
            for (int y = 0; y < by; ++y)
                for (int x = 0; x < bx; ++x)
                    mean += old.GetReal(i * bx + x, j * by + y) / bx / by;
            EXPECT_FLOAT_EQ(f.Real(i, j), static_cast<float>(mean));
            EXPECT_FLOAT_EQ(f.Imag(i, j), static_cast<float>(1 - mean));
        }
    }
}

TEST(Modify, EnlargementsByIndex)
{
    for (const int ny : {1, 4})
        for (const int n : {1, 2, 32, 33})
        {
            const int factor = 1 << (n % 32);
            const int rows = ny > 1 ? factor : 1;
            Lumora start = Numbered(8, ny);
            start.Window() = LML_RECT(1, ny, 5, 0);
            const Lumora old(start);
            Lumora tiles(start);
            Lumora blocks(start);
            Lumora spread(start);
            tiles.Replicate(n);
            blocks.Pixelation(n);
            spread.EnlargeZeroFill(n);
            for (Lumora* f : {&tiles, &blocks, &spread})
            {
                ASSERT_EQ(f->GetNx(), 8 * factor);
                ASSERT_EQ(f->GetNy(), ny * rows);
            }
            for (const auto [i, j] : Grid(8 * factor, ny * rows))
            {
                ASSERT_TRUE(tiles.GetPixel(i, j) == old.GetPixel(i % 8, j % ny));
                ASSERT_TRUE(blocks.GetPixel(i, j) == old.GetPixel(i / factor, j / rows));
                const bool on = i % factor == 0 && j % rows == 0;
                ASSERT_TRUE(spread.GetPixel(i, j) == (on ? old.GetPixel(i / factor, j / rows) : Complex(0.0, 0.0)));
            }
            EXPECT_EQ(tiles.GetPx(), 2e-6);
            EXPECT_EQ(tiles.Window().right, 5);
            EXPECT_EQ(spread.GetPy(), 3e-6);
            EXPECT_EQ(blocks.GetPx(), 2e-6 / factor);
            EXPECT_EQ(blocks.GetPy(), 3e-6 / factor); // also of one row
            for (Lumora* f : {&blocks, &spread})
            {
                EXPECT_TRUE(WindowIs(*f, factor, 5 * factor, 0, ny * rows));
            }
            Lumora same(start);
            same.Subdivide(n);
            EXPECT_TRUE(SameBits(same, blocks));
        }
    Lumora one = Numbered(1, 1);
    const Complex sample = one.GetPixel(0, 0);
    EXPECT_TRUE(one.EnlargeZeroFill(1).GetPixel(0, 0) == sample);
}

TEST(Modify, SizeChangesOfEmptyAndForeignBuffers)
{
    const CallTable calls = {LML_CALL("", f.ReduceByAverage(n)), LML_CALL("", f.Replicate(n)),
                             LML_CALL("", f.Pixelation(n)), LML_CALL("", f.EnlargeZeroFill(n))};
    for (const auto& row : calls)
    {
        Lumora none(8, 4);
        none.Dispose();
        EXPECT_EQ(Catch([&] { row.second(none, 0); }).code, 0); // returns at once
        Fenced mine(8, 4);
        mine.field.Clear();
        EXPECT_EQ(Catch([&] { row.second(mine.field, 1); }).message,
                  &row == &calls[0] ? "" : "User-Defined buffer is too small");
        EXPECT_EQ(mine.field.GetNx(), &row == &calls[0] ? 4 : 8);
        EXPECT_TRUE(mine.Whole());
    }
}

TEST(Modify, ExtractWindow)
{
    const struct
    {
        LML_RECT window; // of a 16 by 8 field
        int nx, ny, x0, y0;
    } table[] = {{LML_RECT(4, 6, 12, 2), 8, 4, 0, 0},   {LML_RECT(3, 5, 8, 2), 8, 4, 1, 0},
                 {LML_RECT(15, 8, 16, 7), 1, 1, 0, 0},  {LML_RECT(-2, 9, 3, 6), 8, 4, 1, 0},
                 {LML_RECT(10, 8, 40, 0), 32, 8, 1, 0}, {LML_RECT(9, 2, 4, 6), 1, 1, 3, 2}};
    for (const auto& t : table)
    {
        Lumora source = Numbered(16, 8);
        source.Form() = POLAR_SPECTRUM;
        source.Window() = t.window;
        source.SetOrigin(Vector(1, 2, 3)).SetNormalVector(Vector(0, 1, 0)).SetWavelength(4e-7);
        Lumora f(32, 8);
        f.Clear();
        f.ExtractWindow(source, Complex(0.5, 0.25));
        ASSERT_EQ(f.GetNx(), t.nx);
        ASSERT_EQ(f.GetNy(), t.ny);
        EXPECT_TRUE(
            WindowIs(f, t.x0, t.x0 + t.window.right - t.window.left, t.y0, t.y0 + t.window.top - t.window.bottom));
        EXPECT_EQ(f.Form(), POLAR_SPECTRUM);
        EXPECT_EQ(f.GetPy(), 3e-6);
        EXPECT_EQ(f.k(), source.k());
        EXPECT_EQ(f.GetOrigin().z, 3.0);
        EXPECT_EQ(f.GetNormalVector().y, 1.0);
        for (const auto [i, j] : Grid(t.nx, t.ny))
        {
            const int x = i - t.x0 + t.window.left;
            const int y = j - t.y0 + t.window.bottom;
            const bool copied = x >= std::max(0, t.window.left) && x < std::min(16, t.window.right) &&
                                y >= std::max(0, t.window.bottom) && y < std::min(8, t.window.top);
            EXPECT_TRUE(f.GetPixel(i, j) == (copied ? source.GetPixel(x, y) : Complex(0.5, 0.25))) << i << ", " << j;
        }
        Lumora same(source); // a field can cut itself out
        same.ExtractWindow(same, Complex(0.5, 0.25));
        EXPECT_EQ(same.GetNx(), t.nx);
        EXPECT_EQ(same.Window().left, t.x0);
    }
    // Kept: the background goes into the size before; a caller's buffer shows how far it reaches.
    Lumora source = Numbered(16, 8);
    source.Window() = LML_RECT(0, 3, 3, 0);
    Fenced small(4, 2);
    small.field.SetNx(2).SetNy(1).Init(nullptr);
    EXPECT_EQ(Catch([&] { small.field.ExtractWindow(source, Complex(9.0, 9.0)); }).message,
              "User-Defined buffer is too small"); // 4 by 4
    EXPECT_EQ(small.field.GetNx(), 2);
    EXPECT_TRUE(small.field[0] == Complex(-77.0, 5.0));
    source.Window() = LML_RECT(0, 2, 3, 0);
    small.field.ExtractWindow(source, Complex(9.0, 9.0));
    EXPECT_TRUE(small.field.GetPixel(3, 1) == Complex(-77.0, 5.0)); // beyond the two samples before
    EXPECT_TRUE(small.field.GetPixel(0, 0) == source.GetPixel(0, 0));
    EXPECT_TRUE(small.Whole());

    Lumora f = Numbered(8, 8);
    const Lumora before(f);
    for (const LML_RECT& window : {LML_RECT(0, 1 << 30, 1 << 30, 0), LML_RECT(0, 4, INT_MAX, 0)})
    {
        source.Window() = window;
        EXPECT_EQ(Catch([&] { f.ExtractWindow(source, Complex(1.0, 0.0)); }).code, 1);
        EXPECT_TRUE(SameBits(f, before));
    }
    source.Window() = LML_RECT(INT_MIN, INT_MAX, INT_MAX, INT_MIN); // widths of -1 wrap
    EXPECT_EQ(Catch([&] { f.ExtractWindow(source, Complex(1.0, 0.0)); }).code, 0);
    source.Window() = LML_RECT(3, 5, 3, 2);
    f.ExtractWindow(source, Complex(1.0, 0.0));
    EXPECT_EQ(f.N(), 0u);
}

// --------------------------------------------------------------------------------------------------------- shifts

namespace
{
/// The shift of one axis by the rule: which old index stands at each new one, -1 for zero.
std::vector<int> Shifted(double d, int size, double p)
{
    std::vector<int> from(static_cast<std::size_t>(size));
    for (int n = 0; n < size; ++n)
        from[static_cast<std::size_t>(n)] = n;
    const double s = -d;
    const int half = size / 2;
    if (s > 0)
    {
        const double m = std::floor((half * p - s) / p + 0.5) + half - 1;
        for (int n = 0; n < size; ++n)
        {
            const double old = n - (size - m - 1);
            from[static_cast<std::size_t>(n)] = old >= 0 && old <= m ? static_cast<int>(old) : -1;
        }
    }
    else if (s < 0)
    {
        const double m = std::floor((-half * p - s) / p + 0.5) + half;
        for (int n = 0; n < size; ++n)
            from[static_cast<std::size_t>(n)] = n + m < size ? static_cast<int>(n + m) : -1;
    }
    return from;
}
} // namespace

TEST(Modify, ShiftsByWholePitches)
{
    const double p = 2e-6;
    for (const auto& size : {std::pair{8, 4}, std::pair{4, 8}, std::pair{1, 4}, std::pair{16, 1}})
        for (double step = -20; step <= 20; step += 0.375)
        {
            const int nx = size.first;
            const int ny = size.second;
            Fenced f(nx, ny, p, p);
            f.field.CopyData(Numbered(nx, ny));
            const Lumora old(f.field);
            Lumora y(f.field);
            Lumora both(f.field);
            f.field.ShiftZeroFillX(step * p);
            y.ShiftZeroFill(Y_AXIS, step * p);
            both.ShiftZeroFill(step * p, -step * p);
            const std::vector<int> column = Shifted(step * p, nx, p);
            const std::vector<int> row = Shifted(step * p, ny, p);
            const std::vector<int> back = Shifted(-step * p, ny, p);
            for (const auto [i, j] : Grid(nx, ny))
            {
                const int c = column[static_cast<std::size_t>(i)];
                const int r = row[static_cast<std::size_t>(j)];
                const int b = back[static_cast<std::size_t>(j)];
                const Complex zero(0.0, 0.0);
                ASSERT_TRUE(f.field.GetPixel(i, j) == (c < 0 ? zero : old.GetPixel(c, j))) << step << ": " << i << j;
                ASSERT_TRUE(y.GetPixel(i, j) == (r < 0 ? zero : old.GetPixel(i, r))) << step << ": " << i << j;
                ASSERT_TRUE(both.GetPixel(i, j) == (c < 0 || b < 0 ? zero : old.GetPixel(c, b))) << step;
            }
            EXPECT_DOUBLE_EQ(f.field.GetOrigin().x, -step * p);
            EXPECT_EQ(f.field.GetOrigin().y, 0.0);
            EXPECT_DOUBLE_EQ(both.GetOrigin().y, step * p);
            EXPECT_TRUE(f.Whole());
            Lumora axis(old);
            EXPECT_TRUE(SameBits(axis.ShiftZeroFill(X_AXIS, step * p), f.field));
        }
}

TEST(Modify, ShiftsKeepInsideAndMoveTheOriginOfFieldsOnly)
{
    for (const double pitch : {1e-6, -1e-6, 0.0, kNan, 1e-300})
        for (const double d :
             {0.0, 1e-6, -1e-6, 1e-5, -1e-5, 1e300, -1e300, kNan, std::numeric_limits<double>::infinity()})
        {
            Fenced f(8, 4, pitch, pitch);
            f.field.SetConst(Complex(1.0, 0.0));
            f.field.ShiftZeroFill(d, d);
            EXPECT_TRUE(f.Whole()) << pitch << ", " << d;
        }
    Lumora f = Numbered(8, 4);
    f.SetNormalVector(Vector(1, 0, 0)).SetOrigin(Vector(1, 1, 1));
    const Vector ux = f.GetUnitVectorX();
    const Vector uy = f.GetUnitVectorY();
    f.ShiftZeroFill(4e-6, 6e-6);
    EXPECT_DOUBLE_EQ(f.GetOrigin().x, 1.0 - 4e-6 * ux.x - 6e-6 * uy.x);
    EXPECT_DOUBLE_EQ(f.GetOrigin().y, 1.0 - 4e-6 * ux.y - 6e-6 * uy.y);
    EXPECT_DOUBLE_EQ(f.GetOrigin().z, 1.0 - 4e-6 * ux.z - 6e-6 * uy.z);
    for (const ComplexForm form : {SPECTRUM, POLAR_SPECTRUM})
    {
        Lumora g = Numbered(8, 4);
        g.Form() = form;
        g.ShiftZeroFill(4e-6, 6e-6);
        EXPECT_EQ(g.GetOrigin().x, 0.0);
        EXPECT_EQ(g.Real(0, 0), 19.0f); // sample (2, 2) of before
    }
}

TEST(Modify, SuperimposeAddsTheOverlap)
{
    for (const float dx : {0.0f, 3e-6f, -7e-6f, 40e-6f, -3e10f, 1e30f})
        for (const float dy : {0.0f, -2e-6f, 8e-6f})
        {
            Fenced f(16, 8);
            FillRandom(f.field, 3);
            const Lumora before(f.field);
            Lumora source = Numbered(8, 4); // another pitch, which plays no part
            f.field.Superimpose(source, dx, dy);
            for (const auto [i, j] : Grid(16, 8))
            {
                const double x = i - (std::floor(static_cast<double>(dx) / 1e-6 + 0.5) + 8 - 4);
                const double y = j - (std::floor(static_cast<double>(dy) / 1e-6 + 0.5) + 4 - 2);
                const bool hit = x >= 0 && x < 8 && y >= 0 && y < 4;
                const Complex old = before.GetPixel(i, j);
                const Complex expected = hit ? old + source.GetPixel(static_cast<int>(x), static_cast<int>(y)) : old;
                EXPECT_TRUE(f.field.GetPixel(i, j) == expected) << dx << ", " << dy << ": " << i << ", " << j;
            }
            EXPECT_TRUE(f.Whole());
        }
}

// --------------------------------------------------------------------------------------------------------- drawing

namespace
{
std::set<std::pair<int, int>> Painted(const Lumora& f)
{
    std::set<std::pair<int, int>> set;
    for (const auto [i, j] : Grid(f))
        if (f.GetPixel(i, j) == Complex(1.0, 2.0))
            set.insert({i, j});
    return set;
}
} // namespace

TEST(Modify, PaintTriangleOfBothOrientations)
{
    const std::array<int, 6> table[] = {{2, 2, 2, 9, 12, 2},     {2, 2, 12, 2, 2, 9},    {5, 5, 5, 5, 5, 5},
                                        {-4, -4, 8, 20, 20, -4}, {1, 1, 14, 14, 7, 7},   {3, 12, 14, 9, 6, 1},
                                        {-9, 3, -2, 8, -5, 1},   {20, 3, 30, 8, 25, 12}, {0, 0, 0, 15, 15, 15}};
    for (const auto& t : table)
    {
        Fenced f(16, 16);
        f.field.Clear();
        f.field.PaintTriangle(t[0], t[1], t[2], t[3], t[4], t[5], Complex(1.0, 2.0));
        EXPECT_TRUE(f.Whole());
        // On which side of each edge, in doubles: positive to the right.
        const auto side = [&](int a, int b, int x, int y)
        {
            const double ax = t[static_cast<std::size_t>(a)], ay = t[static_cast<std::size_t>(a) + 1];
            const double bx = t[static_cast<std::size_t>(b)], by = t[static_cast<std::size_t>(b) + 1];
            return (x - ax) * (by - ay) - (y - ay) * (bx - ax);
        };
        const bool clockwise = side(0, 2, t[4], t[5]) >= 0;
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
            {
                const double e[] = {side(0, 2, x, y), side(2, 4, x, y), side(4, 0, x, y)};
                bool inside = true;
                for (const double v : e)
                    inside = inside && (clockwise ? v >= 0 : v < 0);
                inside = inside && x >= std::min({t[0], t[2], t[4]}) && x <= std::max({t[0], t[2], t[4]}) &&
                         y >= std::min({t[1], t[3], t[5]}) && y <= std::max({t[1], t[3], t[5]});
                EXPECT_EQ(Painted(f.field).count({x, y}) != 0, inside) << x << ", " << y;
            }
    }
    // Kept: the edges belong to one orientation only: 15 samples with them, 3 without.
    Lumora with(8, 8);
    Lumora without(8, 8);
    with.Clear();
    without.Clear();
    with.PaintTriangle(0, 0, 0, 4, 4, 0, Complex(1.0, 2.0));
    without.PaintTriangle(0, 0, 4, 0, 0, 4, Complex(1.0, 2.0));
    EXPECT_EQ(Painted(with).size(), 15u);
    EXPECT_EQ(Painted(without).size(), 3u);
}

TEST(Modify, PaintTriangleOfPoints)
{
    Lumora f(16, 16, 1e-6, 2e-6);
    f.Clear();
    Lumora byIndex(f);
    PointArray points(3);
    points.At(0) = Vector(-5.2e-6, -4.9e-6, 7.0);
    points.At(1) = Vector(-1.6e-6, 8.9e-6, 0.0);
    points.At(2) = Vector(6.4e-6, -4e-6, -1.0);
    f.PaintTriangle(points, Complex(1.0, 2.0));
    byIndex.PaintTriangle(3, 6, 6, 12, 14, 6, Complex(1.0, 2.0)); // the nearest indices
    EXPECT_TRUE(SameBits(f, byIndex));
    EXPECT_GT(Painted(f).size(), 20u);
    for (const int n : {0, 2, 4})
        EXPECT_EQ(Catch([&] { f.PaintTriangle(PointArray(n), Complex(0.0, 0.0)); }),
                  (Failure{3, "LumoraLib::Lumora::PaintTriangle", ""}));
    EXPECT_TRUE(SameBits(f, byIndex));
    f.PaintTriangle(INT_MIN, INT_MIN, INT_MAX, INT_MIN, 0, INT_MAX, f[3]); // products wrap, the grid holds
}

TEST(Modify, PaintFillsConvexRegionsAndNeverMoreThanTheRegion)
{
    std::mt19937 random(31);
    int filled = 0;
    for (int round = 0; round < 300; ++round)
    {
        // Region samples are (0, 0); rounds take discs and slanted stripes (convex), then noise of several densities.
        const bool convex = round < 150;
        Fenced f(32, 16);
        const int cx = static_cast<int>(random() % 32);
        const int cy = static_cast<int>(random() % 16);
        const int r2 = static_cast<int>(random() % 90);
        const int slope = static_cast<int>(random() % 3) - 1;
        for (const auto [i, j] : Grid(32, 16))
        {
            const bool disc = (i - cx) * (i - cx) + (j - cy) * (j - cy) <= r2;
            const bool stripe = std::abs(i - cx - slope * (j - cy)) * 4 <= r2 / 4 + 4;
            const bool region =
                convex ? (round % 2 != 0 ? disc : stripe) : static_cast<int>(random() % 100) < 40 + round % 50;
            f.field.SetPixel(i, j, region ? Complex(0.0, 0.0) : Complex(3.0, 0.0));
        }
        const int x = convex ? cx : static_cast<int>(random() % 32);
        const int y = convex ? cy : static_cast<int>(random() % 16);
        const Lumora before(f.field);
        const Complex old = before.GetPixel(x, y);
        f.field.Paint(x, y, Complex(1.0, 2.0));
        EXPECT_TRUE(f.Whole());
        // Everything reachable from the seed and from the sample beside the one below it, where the second pass can
        // start.
        std::set<std::pair<int, int>> reached;
        std::vector<std::pair<int, int>> open = {{x, y}};
        if (!convex)
            for (const int dx : {-1, 0, 1})
                open.push_back({x + dx, y - 1});
        while (!open.empty())
        {
            const auto at = open.back();
            open.pop_back();
            if (at.first < 0 || at.first >= 32 || at.second < 0 || at.second >= 16 ||
                !(before.GetPixel(at.first, at.second) == old) || !reached.insert(at).second)
                continue;
            open.push_back({at.first + 1, at.second});
            open.push_back({at.first - 1, at.second});
            open.push_back({at.first, at.second + 1});
            open.push_back({at.first, at.second - 1});
        }
        const auto painted = Painted(f.field);
        if (convex && (y == 0 || before.GetPixel(x, y - 1) == Complex() || round % 2 != 0))
        {
            EXPECT_EQ(painted, reached) << "round " << round;
            filled += reached.size() > 1;
        }
        EXPECT_TRUE(std::includes(reached.begin(), reached.end(), painted.begin(), painted.end())) << "round " << round;
        EXPECT_TRUE(painted.count({x, y}) != 0);
        for (const auto [i, j] : Grid(32, 16))
            EXPECT_TRUE(painted.count({i, j}) != 0 || f.field.GetPixel(i, j) == before.GetPixel(i, j));
    }
    EXPECT_GT(filled, 100);
}

TEST(Modify, PaintOfConcaveAndOddRegions)
{
    // A U that opens upwards: from the left arm the way up is followed first; the way down goes by the sample below the
    // seed.
    const char* picture[] = {"##########", "#..####..#", "#..####..#", "#........#", "##########"};
    Lumora f(16, 8);
    f.SetConst(Complex(3.0, 0.0));
    for (const auto [i, j] : Grid(10, 5))
        if (picture[4 - j][i] == '.')
            f.SetPixel(i, j, Complex(0.0, 0.0));
    Lumora bottom(f);
    bottom.Paint(4, 1, Complex(1.0, 2.0));
    EXPECT_EQ(Painted(bottom).size(), 12u); // the row and one arm: kept
    f.Paint(1, 2, Complex(1.0, 2.0));
    EXPECT_EQ(Painted(f).size(), 12u);
    // A value equal to the region's, a seed outside, and a seed that is no number end and change nothing.
    Lumora g(8, 8);
    g.SetConst(Complex(1.0, 2.0));
    const Lumora before(g);
    g.Paint(3, 3, Complex(1.0, 2.0))
        .Paint(-1, 0, Complex())
        .Paint(8, 0, Complex())
        .Paint(0, 8, Complex())
        .Paint(0, INT_MIN, Complex());
    EXPECT_TRUE(SameBits(g, before));
    g.SetPixel(3, 3, Complex(1.0, kNan));
    Lumora odd(g);
    odd.Paint(3, 3, Complex(5.0, 5.0));
    EXPECT_TRUE(SameBits(odd, g));
    // The new value may be a sample of the field.
    g.SetConst(Complex(0.0, 0.0));
    g[0] = Complex(1.0, 2.0);
    g.Paint(5, 5, g[0]);
    EXPECT_EQ(Painted(g).size(), 64u);
}

namespace
{
/// The places of a line by the walk along all of it.
std::set<std::pair<int, int>> WholeWalk(const Lumora& f, int x1, int y1, int x2, int y2)
{
    std::set<std::pair<int, int>> places;
    const double dx = static_cast<double>(x2) - x1;
    const double dy = static_cast<double>(y2) - y1;
    const double m = dx == 0 ? 1e300 : dy / dx;
    const bool flat = std::fabs(m) <= 1.0;
    const double slope = flat ? m : dx == 0 ? 0 : 1.0 / m;
    const bool swapped = flat ? x1 > x2 : y1 > y2;
    int a = flat ? (swapped ? x2 : x1) : swapped ? y2 : y1;
    int b = flat ? (swapped ? y2 : y1) : swapped ? x2 : x1;
    const int end = flat ? (swapped ? x1 : x2) : swapped ? y1 : y2;
    const double offset = static_cast<double>(b) - static_cast<double>(a) * slope;
    const auto put = [&](int x, int y)
    {
        if (x >= 0 && x < f.GetNx() && y >= 0 && y < f.GetNy())
            places.insert({x, y});
    };
    while (a != end)
    {
        const double e = static_cast<double>(++a) * slope + offset - static_cast<double>(b);
        b += e > 0.5 ? 1 : (flat ? e <= -0.5 : e < -0.5) ? -1 : 0;
        put(flat ? a : b, flat ? b : a);
    }
    put(x2, y2);
    return places;
}
} // namespace

TEST(Modify, LinesAreThoseOfTheWholeWalkFromAnywhere)
{
    std::mt19937 random(5);
    int met = 0;
    for (int round = 0; round < 2300; ++round)
    {
        // Ends around the grid, then far beyond it with a place of the grid between them, many nearly along the axes or
        // the diagonals, where a line stays close to the middle between two samples for long.
        const bool far = round >= 2000;
        const int reach = far ? 500000 : 60;
        const auto number = [&](int most)
        {
            return static_cast<int>(random() % (2u * static_cast<unsigned>(most) + 1)) - most;
        };
        int x1 = number(reach), y1 = number(reach), x2 = number(reach), y2 = number(reach);
        if (far)
        {
            const int dx = number(reach);
            const int dy = round % 3 == 0 ? number(3) : round % 3 == 1 ? dx + number(3) : number(reach);
            x1 = static_cast<int>(random() % 32) - dx;
            y1 = static_cast<int>(random() % 16) - (round % 2 == 0 ? dy : -dy);
            x2 = x1 + 2 * dx + number(2);
            y2 = y1 + (round % 2 == 0 ? 2 * dy : -2 * dy) + number(2);
            if (round % 4 == 0)
            {
                std::swap(x1, y1);
                std::swap(x2, y2);
            }
        }
        Fenced f(32, 16);
        f.field.Clear();
        f.field.DrawLine(x1, y1, x2, y2, Complex(1.0, 2.0));
        const auto expected = WholeWalk(f.field, x1, y1, x2, y2);
        ASSERT_EQ(Painted(f.field), expected) << x1 << ", " << y1 << " to " << x2 << ", " << y2;
        EXPECT_TRUE(f.Whole());
        met += far && !expected.empty();
    }
    EXPECT_GT(met, 200);
    // The longest lines there are take no longer.
    Lumora f(8, 8);
    f.Clear();
    f.DrawLine(INT_MIN, INT_MIN, INT_MAX, INT_MAX, Complex(1.0, 2.0))
        .DrawLine(INT_MAX, 3, INT_MIN, 3, Complex(1.0, 2.0))
        .DrawLine(5, INT_MAX, 5, INT_MIN, Complex(1.0, 2.0))
        .DrawLine(INT_MAX - 9, 1, INT_MAX, INT_MAX, Complex(1.0, 2.0));
    EXPECT_EQ(Painted(f).size(), 8u + 7u + 6u);
}
