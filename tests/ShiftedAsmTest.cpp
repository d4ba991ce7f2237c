// Shifted angular spectrum propagation: the band limit and the transfer function against sums in double precision, what
// becomes of both fields, tiles, refusals.
#include "TestTools.h"

using namespace lmltest;

namespace
{
constexpr double kLambda = 5e-7;
constexpr double kP = 0x1p-19; // about 1.9 and 3.8 um: powers of two, so that places on a bound are met exactly
constexpr double kQ = 0x1p-18;

Lumora Random(int nx, int ny, std::uint32_t seed = 5)
{
    Lumora f(nx, ny, kP, kQ, kLambda);
    FillRandom(f, seed);
    return f;
}

/// Zeros at a place.
Lumora Target(int nx, int ny, const Vector& origin)
{
    Lumora f(nx, ny, kP, kQ, kLambda);
    f.Clear().SetOrigin(origin);
    return f;
}

std::pair<double, double> BandOf(double x0, double z0, double d)
{
    const double h = 1.0 / (2.0 * d);
    const auto bound = [=](double s)
    {
        return 1.0 / std::sqrt(z0 * z0 / (s * s) + 1.0) / kLambda;
    };
    const double a = bound(x0 + h);
    const double b = bound(x0 - h);
    return {x0 > h ? b : -b, x0 < -h ? -a : a};
}

/// The propagation written out on the enlarged grid, all in double.
void ExpectShifted(const Lumora& result, const Lumora& source, double x0, double y0, double z0, int precision)
{
    const int nx = source.GetNx();
    const int ny = source.GetNy();
    const int wide = nx << precision;
    const int high = ny > 1 ? ny << precision : 1;
    const double du = 1.0 / (wide * kP);
    const double dv = 1.0 / ((ny << precision) * kQ);
    const auto [uLow, uHigh] = BandOf(x0, z0, du);
    const auto [vLow, vHigh] = BandOf(y0, z0, dv);
    std::vector<Value> values(source.N());
    for (int n = 0; n < high; ++n)
        for (int m = 0; m < wide; ++m)
        {
            const double u = (m - wide / 2) * du;
            const double v = (n - high / 2) * (ny > 1 ? dv : 0.0);
            if (u <= uLow || u >= uHigh || v <= vLow || v >= vHigh)
                continue;
            Value a = 0.0;
            for (const auto [i, j] : Grid(nx, ny))
            {
                const Complex c = source.GetPixel(i, j);
                const double turns = u * kP * (i - nx / 2) + v * kQ * (j - ny / 2);
                a += Value(c.Real(), c.Imag()) * std::polar(1.0, -2 * M_PI * turns);
            }
            a *= std::polar(1.0, 2 * M_PI * (x0 * u + y0 * v + z0 * std::sqrt(1 / kLambda / kLambda - u * u - v * v)));
            for (const auto [i, j] : Grid(nx, ny))
                values[static_cast<std::size_t>(j * nx + i)] +=
                    a * std::polar(1.0, 2 * M_PI * (u * kP * (i - nx / 2) + v * kQ * (j - ny / 2)));
        }
    for (const auto [i, j] : Grid(nx, ny))
    {
        const Complex c = result.GetPixel(i, j);
        const Value expected = values[static_cast<std::size_t>(j * nx + i)] / double(wide * high);
        EXPECT_LT(std::abs(Value(c.Real(), c.Imag()) - expected), 2e-6) << i << ", " << j << " at " << x0;
    }
}

} // namespace

TEST(ShiftedAsm, SumsInDouble)
{
    // Shifts inside, on and beyond half the enlarged width h, to all sides; 1 / h is twice the pitch of the spectrum.
    const struct
    {
        double x0, y0, z0; // in h of precision 1
    } table[] = {{0, 0, 7},           {0.4375, -0.25, 3}, {1, 0, 3},      {-1, 1, 1},   {1.25, 1.0625, 3},
                 {-1.375, -1.125, 6}, {0, 0, 0},          {0.3125, 0, 0}, {1, -1, 0.5}, {2, 0, 3}};
    const double h = 0x1p-15;
    for (const Engine lib : EachEngine())
        for (const auto& size : {std::pair{16, 8}, {16, 1}})
            for (const int precision : {1, 2})
                for (const auto& t : table)
                {
                    Lumora source = Random(size.first, size.second);
                    source.SetOrigin(Vector(0x1p-10, 0x1p-9, 0x1p-8)).SetWindow(1, 3, 0, 1);
                    const Lumora before(source);
                    Lumora f =
                        Target(size.first, size.second, source.GetOrigin() + Vector(t.x0 * h, t.y0 * h, t.z0 * h));
                    const Vector place = f.GetOrigin();
                    f.ShiftedAsmProp(source, precision);
                    ExpectShifted(f, source, t.x0 * h, t.y0 * h, t.z0 * h, precision);
                    EXPECT_TRUE(SameBits(source, before));
                    EXPECT_EQ(f.GetOrigin().x, place.x);
                    EXPECT_EQ(f.GetOrigin().z, place.z);
                    EXPECT_EQ(f.GetPx(), kP);
                    EXPECT_EQ(f.GetPy(), kQ);
                    EXPECT_EQ(f.Window().left, 1); // the source's
                    EXPECT_EQ(f.Window().top, 1);
                }
}

TEST(ShiftedAsm, DirectionAndAxesAreLost)
{
    for (const Engine lib : EachEngine())
    {
        const Lumora source = Random(16, 16);
        Lumora front = Target(16, 16, Vector(1e-5, -2e-5, 1e-4));
        Lumora back = Target(16, 16, Vector(1e-5, -2e-5, -1e-4));
        front.ShiftedAsmProp(source, 1);
        back.ShiftedAsmProp(source, 1);
        EXPECT_TRUE(SameBits(front, back));
        EXPECT_EQ(back.GetOrigin().z, -1e-4);
        // A tilted pair: the distance goes along the normal, the shifts are global x and y as they are.
        const Vector normal(0, 0.6, 0.8);
        Lumora tiltedSource(source);
        tiltedSource.SetNormalVector(normal);
        const Vector difference(1e-5, -2e-5, 1e-4);
        Lumora tilted = Target(16, 16, difference);
        tilted.SetNormalVector(normal).ShiftedAsmProp(tiltedSource, 1);
        Lumora straight = Target(16, 16, Vector(1e-5, -2e-5, std::abs(normal * difference)));
        straight.ShiftedAsmProp(source, 1);
        EXPECT_TRUE(SameBits(tilted, straight));
        EXPECT_NEAR(tilted.GetUnitVectorX().x, 1.0, 1e-15);
        EXPECT_NEAR(tilted.GetUnitVectorY().y, 0.8, 1e-15);
        EXPECT_NEAR(tilted.GetUnitVectorY().z, -0.6, 1e-15);
        // The field comes back from no way at all.
        Lumora stay = Target(16, 16, Vector());
        stay.ShiftedAsmProp(source, 1);
        EXPECT_LT(RelativeL2(stay, source), 1e-6);
    }
}

// With pitches so small that corners of the band lie beyond 1 / wavelength the root there is not a number, and so is
// then every sample; a little farther away the band ends before.
TEST(ShiftedAsm, RootsBeyondTheWavelengthAreNotGuarded)
{
    for (const FftLib engine : kEngines)
        for (const bool near : {true, false})
        {
            SetFftLib(engine);
            Lumora source(64, 64, 0.6 * kLambda, 0.6 * kLambda, kLambda);
            FillRandom(source, 3);
            Lumora target(source);
            target.SetOrigin(Vector(1e-6, -2e-6, near ? 1e-6 : 1e-4));
            target.ShiftedAsmProp(source, 1);
            std::size_t broken = 0;
            for (std::size_t n = 0; n < target.N(); ++n)
                broken += std::isnan(target.GetDataPointer()[n].Real()) ? 1u : 0u;
            EXPECT_EQ(broken, near ? target.N() : 0u) << engine;
        }
    SetFftLib(FFT_LIB_VENDOR);
}

TEST(ShiftedAsm, AddAndTiles)
{
    // The extended forms against the same tiles cut and placed by hand, bit for bit, also on a tilted plane.
    const int shapes[][4] = {{16, 16, 16, 16}, {32, 16, 16, 16}, {16, 16, 16, 64}, {32, 8, 8, 32}, {32, 32, 8, 16}};
    for (const Engine lib : EachEngine())
        for (const auto& s : shapes)
            for (const bool tilted : {false, true})
            {
                const Vector normal = tilted ? Vector(0.6, 0, 0.8) : Vector(0, 0, 1);
                Lumora source = Random(s[0], s[1]);
                source.SetOrigin(Vector(1e-5, 0, 0)).SetNormalVector(normal);
                Lumora f = Target(s[2], s[3], Vector(3e-5, 2e-5, 3e-4));
                // Inside the tolerance, yet every destination tile starts from its field's normal, not from a source's.
                f.SetNormalVector(normal + Vector(0, 4e-7, 0)).SetWindow(1, 2, 0, 1);
                FillRandom(f, 9);
                Lumora expected(f);
                const int nx = std::min(s[0], s[2]);
                const int ny = std::min(s[1], s[3]);
                const auto place = [&](const Lumora& field, int column, int row)
                {
                    const double dx = (column + (1 - field.GetNx() / nx) * 0.5) * nx * kP;
                    const double dy = (row + (1 - field.GetNy() / ny) * 0.5) * ny * kQ;
                    return field.GetOrigin() + field.GetUnitVectorX() * dx + field.GetUnitVectorY() * dy;
                };
                for (int sr = 0; sr < s[1] / ny; ++sr)
                    for (int sc = 0; sc < s[0] / nx; ++sc)
                    {
                        Lumora from = Target(nx, ny, place(source, sc, sr));
                        from.SetNormalVector(normal);
                        for (const auto [i, j] : Grid(nx, ny))
                            from.SetPixel(i, j, source.GetPixel(sc * nx + i, sr * ny + j));
                        for (int dr = 0; dr < s[3] / ny; ++dr)
                            for (int dc = 0; dc < s[2] / nx; ++dc)
                            {
                                Lumora to = Target(nx, ny, place(f, dc, dr));
                                const Vector origin = to.GetOrigin();
                                to.CopyParam(f).SetOrigin(origin).ShiftedAsmProp(from, 1);
                                // By index: Add places by global x and y, which shortens a tilted plane's offsets.
                                for (int j = 0; !tilted && j < ny; ++j)
                                    for (int i = 0; i < nx; ++i)
                                        expected.Pixel(dc * nx + i, dr * ny + j) += to.GetPixel(i, j);
                                if (tilted)
                                    expected.Add(to);
                            }
                    }
                Lumora added(f);
                added.ShiftedAsmPropAddEx(source);
                EXPECT_TRUE(SameBits(added, expected)) << s[0] << " by " << s[1] << " onto " << s[2] << " by " << s[3];
                EXPECT_EQ(added.Window().left, 1);
                EXPECT_EQ(added.GetOrigin().x, 3e-5);
                Lumora fresh(f);
                fresh.ShiftedAsmPropEx(source);
                Lumora cleared(f);
                cleared.Clear().ShiftedAsmPropAddEx(source);
                EXPECT_TRUE(SameBits(fresh, cleared));
                if (s[0] == s[2] && s[1] == s[3])
                {
                    Lumora one(f);
                    one.ShiftedAsmPropAdd(source, 1);
                    EXPECT_TRUE(SameBits(one, added));
                }
            }
}

TEST(ShiftedAsm, SourceAndDestinationInOne)
{
    for (const Engine lib : EachEngine())
    {
        const Lumora start = Random(8, 8);
        Lumora f(start);
        f.ShiftedAsmProp(f, 1);
        EXPECT_LT(RelativeL2(f, start), 1e-6);
        f = start;
        f.ShiftedAsmPropAdd(f, 1);
        Lumora twice(start);
        twice += start;
        EXPECT_LT(RelativeL2(f, twice), 1e-6);
        f = start;
        f.ShiftedAsmPropEx(f);
        EXPECT_LT(RelativeL2(f, start), 1e-6);
    }
}
