// Point sources: each family against waves computed on the spot, the families' own treatment of phase, sign, snapping
// and limits, refusals, safety at the edges, and the wide forms bit by bit against the plain ones.
#include "points/PointSource.h"
#include "TestTools.h"
#include "points/WidePoint.h"
#include "simd/SinCos.h"

#include <thread>

namespace
{
using namespace lmltest;
using Wave = Value;

constexpr double kLambda = 633e-9;
constexpr double kPitch = 2e-6;
constexpr double kTurn = 6.283185307179586;
constexpr double kStepAngle = kTurn / 1024;

Lumora Blank(int nx = 64, int ny = 64, double px = kPitch, double py = kPitch)
{
    Lumora f(nx, ny, px, py, kLambda);
    f.Clear();
    return f;
}

bool Untouched(const Lumora& f)
{
    return std::all_of(f.GetDataPointer(), f.GetDataPointer() + f.N(),
                       [](const Complex& c) { return Bits(c.Real()) == 0 && Bits(c.Imag()) == 0; });
}

double Distance(const Lumora& f, int i, int j, double x, double y, double z)
{
    return std::hypot(f.X(i) - x, f.Y(j) - y, z);
}

/// Samples on `columns` x `rows` (half-open) follow `wave` within `error`, the others are 0.
struct Box
{
    int left, right, bottom, top;
};
template <class Error, class Expected>
void ExpectWave(const Lumora& f, Box box, const Error& error, const Expected& wave)
{
    const auto allowed = [&](int i, int j)
    {
        if constexpr (std::is_arithmetic_v<Error>)
            return error;
        else
            return error(i, j);
    };
    int wrong = 0;
    for (const auto [i, j] : Grid(f))
    {
        const bool inside = i >= box.left && i < box.right && j >= box.bottom && j < box.top;
        const Wave want = inside ? wave(i, j) : Wave();
        const double off = std::abs(At(f, i, j) - want);
        if (!(off <= (inside ? allowed(i, j) : 0.0)) && ++wrong < 4)
            ADD_FAILURE() << "sample " << i << ", " << j << ": " << At(f, i, j) << " instead of " << want;
    }
    EXPECT_EQ(wrong, 0);
}

/// What the recurrence may be off by: a table step, and its drift. With d from the source along the row and h across
/// it, the column at d leaves out the square (d P)^2 / (2 r^3) of its step: in all P (asinh(d / h) - d / r) / 2 of path
/// at most.
auto RecurrenceError(const Lumora& f, double x, double y, double z)
{
    return [=, &f](int i, int j)
    {
        const double d = std::abs(f.X(i) - x);
        const double drift = std::asinh(d / std::hypot(f.Y(j) - y, z)) - d / Distance(f, i, j, x, y, z);
        return (1.01 * kStepAngle + f.GetWavenumber() * f.GetPx() * 1.05 * drift / 2) / std::abs(z);
    };
}

TEST(PointSource, ExactWaveWithEachWindow)
{
    // sin of the largest angle: lambda / (2 pitch); the patch is tan of it times |z| wide on each side.
    const struct
    {
        double x, y, z, amp, phase;
        WindowFunc window;
        Box box; // worked out from half-widths 0.160236 |z| in x and 0.079616 |z| in y
    } cases[] = {
        {0, 0, 100e-6, 1.0, 0.0, WINDOW_RECT, {24, 40, 30, 34}},            // 8.01, 1.99 pitches
        {7.3e-6, -21e-6, -150e-6, 2.5, 1.2, WINDOW_RECT, {24, 48, 24, 30}}, // 12.02, 2.99 around 4 (3.65), -5 (-5.25)
        {-70e-6, 0, 100e-6, 1.0, -2.0, WINDOW_RECT, {0, 5, 30, 34}},        // source beside the grid, column -35
        {3e-6, 9e-6, 100e-6, 1.0, 0.5, WINDOW_TRIANGLE, {26, 42, 32, 36}},
        {3e-6, 9e-6, 100e-6, -1.0, 0.5, WINDOW_COSINE, {26, 42, 32, 36}},
    };
    InEveryForm(
        [&]
        {
            for (const auto& c : cases)
            {
                SCOPED_TRACE(c.window);
                Lumora f = Blank(64, 64, 2e-6, 4e-6);
                const double wx = std::tan(std::asin(kLambda / 4e-6)) * std::abs(c.z);
                const double wy = std::tan(std::asin(kLambda / 8e-6)) * std::abs(c.z);
                const auto weight = [&](double d, double w)
                {
                    const double t = std::min(std::abs(d) / w, 1.0);
                    return c.window == WINDOW_TRIANGLE ? 1.0 - t
                           : c.window == WINDOW_COSINE ? 0.5 + 0.5 * std::cos(kTurn / 2 * t)
                                                       : 1.0;
                };
                const auto wave = [&](int i, int j)
                {
                    const double r = Distance(f, i, j, c.x, c.y, c.z);
                    const double a = c.amp / r * weight(f.X(i) - c.x, wx) * weight(f.Y(j) - c.y, wy);
                    return std::polar(1.0, f.GetWavenumber() * r + c.phase) * a;
                };
                const double scale = std::abs(c.amp / c.z);
                f.AddSphericalWave(Vector(c.x, c.y, c.z), Phase(c.phase), c.amp, c.window);
                ExpectWave(f, c.box, 2e-7 * scale, wave);
                // The local form has no phase, and k r (up to 2000 rad) has passed through single precision.
                f.SetSphericalWave(c.x, c.y, c.z, c.amp, c.window);
                ExpectWave(f, c.box, 7e-5 * scale,
                           [&](int i, int j) { return wave(i, j) * std::polar(1.0, -c.phase); });
            }
        });
}

TEST(PointSource, ExactFormsAndDefaults)
{
    // A tilted and displaced plane: the global position turns into the local one.
    Lumora f = Blank();
    f.SetNormalVector(Vector(0.3, -0.2, 0.8)).SetOrigin(Vector(1e-3, 2e-3, -5e-4));
    const Vector p = f.GetOrigin() + f.GetNormalVector() * 3e-4 + Vector(5e-6, -7e-6, 0);
    const Vector q = f.GetLocalPosition(p);
    Lumora a = f;
    a.AddSphericalWave(p);
    EXPECT_NEAR(q.z, 3e-4, 1e-5);
    const double r = Distance(f, 32, 32, q.x, q.y, q.z);
    EXPECT_LT(std::abs(At(a, 32, 32) - std::polar(1.0 / r, f.GetWavenumber() * r)), 2e-7 / r);
    Lumora b = f;
    b.AddSphericalWave(p, Phase(0), 1.0);
    EXPECT_TRUE(SameBits(a, b));
    // Two sources add up; Set drops whatever there was, in any form.
    b.AddSphericalWave(p, Phase(kTurn / 2), 1.0);
    EXPECT_LT(std::abs(At(b, 32, 32)), 1e-3);
    Lumora s = Blank();
    s.AddSphericalWave(0, 0, 1e-3, 2.0, WINDOW_RECT);
    FillRandom(f);
    f.Form() = POLAR_SPECTRUM;
    f.SetSphericalWave(0, 0, 1e-3, 2.0, WINDOW_RECT);
    EXPECT_EQ(f.Form(), COMPLEX_AMPLITUDE);
    EXPECT_TRUE(SameBits(f, s));
    // The local form takes the phase in single precision: half a metre away, in steps of half a radian.
    s.SetSphericalWave(0, 0, 0.51, 1.0, WINDOW_RECT);
    ExpectWave(s, {0, 64, 0, 64}, 4e-7,
               [&](int i, int j)
               {
                   const double l = Distance(s, i, j, 0, 0, 0.51);
                   return std::polar(1 / l, static_cast<double>(static_cast<float>(s.GetWavenumber() * l)));
               });
    // In the plane, off to the side, beyond the band of the sampling or nowhere: nothing is added, nothing is refused.
    InEveryForm(
        []
        {
            Lumora g = Blank();
            for (double far : {1e-3, 1.0, 1e30, kInf, kNan})
                for (double z : {0.0, 1e-5, -1e-5})
                    g.AddSphericalWave(Vector(far, 0, z)).AddSphericalWave(0, -far, z, 1.0, WINDOW_COSINE);
            g.AddSphericalWave(Vector(1e-6, 0, 0))
                .AddSphericalWave(Vector(0, 0, 1e300))
                .AddSphericalWave(Vector(0, 0, kNan));
            g.SetPx(kLambda / 3);
            g.AddSphericalWave(Vector(0, 0, 1e-4)).AddSphericalWave(0, 0, 1e-4, 1.0, WINDOW_TRIANGLE);
            EXPECT_TRUE(Untouched(g));
        });
}

/// Adds by one of the three table and recurrence members, after its own Init.
enum class By
{
    Sqr,
    SQR,
    RF
};
Lumora& Add(Lumora& f, By by, double x, double y, double z, double amp, double phase, WindowFunc window)
{
    if (by == By::Sqr)
        return f.AddSphericalWaveSqr({f.GetWavelength(), f.GetPx(), f.GetPx(), Vector::K()}, x, y, z, amp, phase,
                                     window);
    if (by == By::SQR)
        return f.InitSphericalWaveSQR(Vector::K()), f.AddSphericalWaveSQR(x, y, z, amp, phase, window);
    return f.InitSphericalWaveRF(0, 0), f.AddSphericalWaveRF(x, y, z, amp, phase, window);
}

TEST(PointSource, TableAndRecurrenceFollowTheWave)
{
    InEveryForm(
        []
        {
            for (By by : {By::Sqr, By::SQR, By::RF})
                for (double z : {-3e-3, 3e-3, 40e-3})
                {
                    SCOPED_TRACE(z);
                    const bool moves = by != By::RF; // source onto the nearest sample
                    const double sign = moves && z > 0 ? -1 : 1;
                    const double amp = moves ? 2.0 / std::abs(z) : 2.0 / z;
                    for (double x : {9.3e-6, -400e-6, 400e-6})
                    {
                        Lumora f = Blank(128, 64);
                        const double y = -14.9e-6;
                        Add(f, by, x, y, z, 2.0, 0.0, WINDOW_NONE);
                        const double sx = moves ? std::round(x / kPitch) * kPitch : x;
                        const double sy = moves ? std::round(y / kPitch) * kPitch : y;
                        const auto wave = [&](int i, int j)
                        {
                            const double r = Distance(f, i, j, sx, sy, z);
                            return std::polar(1.0, sign * f.GetWavenumber() * r) * amp;
                        };
                        if (moves)
                            ExpectWave(f, {0, 128, 0, 64}, std::abs(amp) * 1.01 * kStepAngle, wave);
                        else
                            ExpectWave(
                                f, {0, 128, 0, 64}, [&](int i, int j) { return 2 * RecurrenceError(f, x, y, z)(i, j); },
                                wave);
                    }
                }
        });
}

TEST(PointSource, LimitsOfTheTableMembers)
{
    // A wave tilted to u = 0.1 / lambda admits sines from 0.1 - 0.15825 to 0.1 + 0.15825 in x at a pitch of 2 um.
    const Vector tilt(0.1, 0.0, std::sqrt(0.99));
    const SphericalWaveDescriptor d(kLambda, kPitch, kPitch, tilt);
    const double high = 0.25825 / std::sqrt(1 - 0.25825 * 0.25825);
    const double low = -0.05825 / std::sqrt(1 - 0.05825 * 0.05825);
    EXPECT_NEAR(d.tanMaxX, high, 1e-12);
    EXPECT_NEAR(d.tanMinX, low, 1e-12);
    EXPECT_DOUBLE_EQ(d.tanMaxY, -d.tanMinY);
    EXPECT_NEAR(d.tanMaxY, 0.15825 / std::sqrt(1 - 0.15825 * 0.15825), 1e-12);
    // Patch in samples from the centre 64 of a 128 grid: the z of a diverging wave is negative, and the sides change
    // with its sign. -0.1 mm: x -2.9 ... 13.4, y -8.01 ... 8.01 samples.
    const Box diverging = {64 - 3, 64 + 13, 64 - 8, 64 + 8};
    const Box converging = {64 - 13, 64 + 3, 64 - 8, 64 + 8};
    InEveryForm(
        [&]
        {
            for (bool global : {false, true})
                for (double z : {-0.1e-3, 0.1e-3})
                {
                    Lumora f = Blank(128, 128);
                    f.InitSphericalWaveSQR(tilt);
                    const auto add = [&](double x, double y, double at, WindowFunc window)
                    {
                        f.Clear();
                        global ? f.AddSphericalWaveSQR(x, y, at, 1.0, 0.0, window)
                               : f.AddSphericalWaveSqr(d, x, y, at, 1.0, 0.0, window);
                    };
                    const Box box = z < 0 ? diverging : converging;
                    const auto wave = [&](int i, int j)
                    {
                        const double r = Distance(f, i, j, 0, 0, z);
                        return std::polar(1 / std::abs(z), (z < 0 ? 1 : -1) * f.GetWavenumber() * r);
                    };
                    add(0.9e-6, -0.9e-6, z, WINDOW_RECT);
                    ExpectWave(f, box, 1.01 * kStepAngle / std::abs(z), wave);
                    // The origin moves the source in the plane and the distance, not the extents nor the amplitude.
                    f.SetOrigin(Vector(20 * kPitch, 7 * kPitch, 1e-3));
                    add(20 * kPitch, 7 * kPitch, z, WINDOW_RECT);
                    ExpectWave(f, box, 1.01 * kStepAngle / std::abs(z),
                               [&](int i, int j)
                               {
                                   const double r = Distance(f, i, j, 0, 0, z - 1e-3);
                                   return std::polar(1 / std::abs(z), f.GetWavenumber() * r);
                               });
                    f.SetOrigin(Vector());
                    for (double away : {-0.2e-3, 0.2e-3})
                    {
                        add(away, 0, z, WINDOW_RECT);
                        EXPECT_TRUE(Untouched(f));
                    }
                }
        });
    // Above half a wavelength per pitch an end is open: the whole half-axis belongs to the patch, also for z = 0.
    const SphericalWaveDescriptor open(kLambda, 0.3e-6, 0.3e-6, Vector::K());
    EXPECT_EQ(open.tanMaxX, 1e100);
    EXPECT_EQ(open.tanMinY, -1e100);
    for (double z : {0.0, 1e-9, -5.0})
    {
        Lumora f = Blank(32, 32, 0.3e-6, 0.3e-6);
        f.AddSphericalWaveSqr(open, 0, 0, z, 1.0, 0.0, WINDOW_RECT);
        EXPECT_TRUE(At(f, 0, 0) != Wave() && At(f, 31, 31) != Wave()) << z;
        Lumora g = Blank(32, 32);
        g.AddSphericalWaveSqr(SphericalWaveDescriptor(kLambda, kPitch, kPitch, Vector::K()), 0, 0, 0, 1.0, 0.0,
                              WINDOW_RECT);
        EXPECT_TRUE(Untouched(g));
    }
}

TEST(PointSource, PhaseArgumentOfTheTableMembers)
{
    InEveryForm(
        []
        {
            for (By by : {By::Sqr, By::SQR})
            {
                const auto field = [by](double z, double phase)
                {
                    Lumora f = Blank();
                    return Lumora(Add(f, by, 4e-6, 0, z, 1e-3, phase, WINDOW_NONE));
                };
                // Equal distances: conjugate. A phase of 256 is a quarter turn in table steps and 256 rad on the other
                // side.
                const Lumora plus = field(1e-3, 0);
                const Lumora minus = field(-1e-3, 0);
                const Lumora steps = field(1e-3, 256);
                const Lumora radians = field(-1e-3, kTurn / 4);
                const Lumora many = field(-1e-3, 256);
                for (int n = 0; n < 64; ++n)
                {
                    const Wave a = At(plus, n, n);
                    EXPECT_EQ(At(minus, n, n).real(), a.real());
                    EXPECT_LT(std::abs(At(minus, n, n) - std::conj(a)), 1e-7);
                    // One step of truncation, which runs towards zero on either side of it.
                    EXPECT_LT(std::abs(At(steps, n, n) - a * Wave(0, 1)), 1.01 * kStepAngle);
                    EXPECT_LT(std::abs(At(radians, n, n) - std::conj(a) * Wave(0, 1)), 1.01 * kStepAngle);
                    EXPECT_LT(std::abs(At(many, n, n) - std::conj(a) * std::polar(1.0, 256.0)), 1.01 * kStepAngle);
                }
            }
            // From 2^21 wavelengths on the index is the overflow value, whose low bits name entry 0.
            Lumora f = Blank();
            f.InitSphericalWaveSQR(Vector::K());
            f.InitSphericalWaveRF(0, 0);
            for (double z : {2097152 * kLambda * 1.0000001, -1e9, kInf, kNan})
            {
                f.Clear().AddSphericalWaveSQR(0, 0, z, 1.0, 0.0, WINDOW_NONE);
                const float a = static_cast<float>(1.0 / std::abs(z));
                EXPECT_TRUE(At(f, 5, 7) == Wave(a, 0) || std::isnan(z)) << z << At(f, 5, 7);
                f.Clear().AddSphericalWaveRF(0, 0, z, 1.0, 0.0, WINDOW_NONE);
                EXPECT_TRUE(At(f, 5, 7) == Wave(std::copysign(a, z), 0) || std::isnan(z)) << z << At(f, 5, 7);
            }
            f.Clear().AddSphericalWaveSQR(0, 0, 2097151 * kLambda, 1.0, 256.0, WINDOW_NONE);
            EXPECT_NE(At(f, 5, 7).imag(), 0.0);
        });
}

TEST(PointSource, RecurrenceRowsColumnsAndSigns)
{
    InEveryForm(
        []
        {
            // tan of the limits is 0.160236: at 0.1 mm 8.01 samples to each side of the source's own position.
            Lumora f = Blank(128, 128);
            f.InitSphericalWaveRF(0, 0);
            const auto wave = [&](double x, double y, double z, double phase)
            {
                return [=, &f](int i, int j)
                {
                    return std::polar(1.0, f.GetWavenumber() * Distance(f, i, j, x, y, z) + phase) / z;
                };
            };
            f.AddSphericalWaveRF(0, 0, 0.1e-3, 1.0, 1.0, WINDOW_RECT);
            ExpectWave(f, {56, 72, 56, 72}, RecurrenceError(f, 0, 0, 0.1e-3), wave(0, 0, 0.1e-3, 1.0));
            // x counts from the nearest sample, y from where it is: rows -7.61 ... 8.41, so 56 to 72. Then -8.41
            // ... 7.61.
            f.Clear().AddSphericalWaveRF(1.2e-6, 0.8e-6, 0.1e-3, 1.0, 0.0, WINDOW_RECT);
            ExpectWave(f, {57, 73, 56, 72}, RecurrenceError(f, 1.2e-6, 0.8e-6, 0.1e-3),
                       wave(1.2e-6, 0.8e-6, 0.1e-3, 0.0));
            // 0.096 mm: 7.69 samples; from 0.6 samples: -7.09 ... 8.29, 15 rows, the last of which stays as it was.
            f.Clear().AddSphericalWaveRF(0, 1.2e-6, 0.096e-3, 1.0, 0.0, WINDOW_RECT);
            ExpectWave(f, {56, 72, 57, 71}, RecurrenceError(f, 0, 1.2e-6, 0.096e-3), wave(0, 1.2e-6, 0.096e-3, 0.0));
            // A single row is none.
            f.Clear().AddSphericalWaveRF(0, 127.2e-6, 0.01e-3, 1.0, 0.0, WINDOW_RECT);
            EXPECT_TRUE(Untouched(f));
            // With a negative z the limits change places; the whole grid is computed with a negative amplitude.
            f.AddSphericalWaveRF(0, 0, -0.1e-3, 1.0, 0.0, WINDOW_RECT);
            EXPECT_TRUE(Untouched(f));
            // The origin is not looked at.
            f.SetOrigin(Vector(1, 1, 1));
            f.AddSphericalWaveRF(0, 0, 5e-3, 1.0, 0.0, WINDOW_NONE);
            ExpectWave(f, {0, 128, 0, 128}, RecurrenceError(f, 0, 0, 5e-3), wave(0, 0, 5e-3, 0.0));
            // A tilted band beside the source: the row still runs out from the source's column. Sines 0.34175 ...
            // 0.65825 in x: 36.4 to 87.5 samples at 0.2 mm; from column 14 the band is 50 to 102.
            f.InitSphericalWaveRF(kTurn / 12, 0);
            f.Clear().AddSphericalWaveRF(-50 * kPitch, 0, 0.2e-3, 1.0, 0.0, WINDOW_RECT);
            ExpectWave(f, {14, 101, 48, 80}, RecurrenceError(f, -50 * kPitch, 0, 0.2e-3),
                       wave(-50 * kPitch, 0, 0.2e-3, 0.0));
            // After the other Init a tangent is taken for an angle: wrong limits, no refusal.
            f.InitSphericalWaveSQR(Vector::K());
            f.Clear().AddSphericalWaveRF(0, 0, 0.3e-3, 1.0, 0.0, WINDOW_RECT);
            EXPECT_NE(At(f, 64 - 24, 64), Wave()); // 0.3 mm tan(0.160236) is 24.2 samples, instead of 24.04
        });
}

TEST(PointSource, HostileArgumentsStayInsideTheGrid)
{
    // Run under the sanitizers; the fields' buffers end where the grids do.
    const double odd[] = {0, -0.0, 1e-7, -3e-6, 1e-3, 0.2, -1e9, 1e300, -1e300, kInf, -kInf, kNan};
    InEveryForm(
        [&]
        {
            for (int n : {1, 2, 16})
                for (double pitch : {kPitch, kLambda / 4, -kPitch, 0.0, kNan, 1e-300})
                {
                    Lumora f(n, 4, pitch, pitch, kLambda);
                    f.Clear();
                    f.InitSphericalWaveRF(0.5, -0.9);
                    const SphericalWaveDescriptor d(f.GetWavelength(), pitch, pitch, Vector(1, -0.2, 0.1));
                    for (double x : odd)
                        for (double z : odd)
                            for (WindowFunc w : {WINDOW_NONE, WINDOW_RECT})
                            {
                                f.AddSphericalWaveRF(x, 1e-6, z, 1, 0, w).AddSphericalWaveRF(1e-6, x, z, 1, z, w);
                                f.AddSphericalWaveSQR(x, x, z, 1, z, w);
                                if (pitch == pitch)
                                    f.AddSphericalWaveSqr(d, x, 0, z, 1, 0, w).AddSphericalWaveSqr(d, 0, x, z, x, 1, w);
                                if (w == WINDOW_RECT)
                                    f.AddSphericalWave(Vector(x, x, z)).AddSphericalWave(x, 0, z, x, WINDOW_COSINE);
                            }
                }
        });
    Lumora f = Blank(64, 2);
    f.InitSphericalWaveRF(0, 0);
    SphericalWaveDescriptor d(f.GetWavelength(), kPitch, kPitch, Vector::K());
    d.tableMask = -1;
    f.AddSphericalWaveSqr(d, 0, 0, -1e-2, 1, 0, WINDOW_NONE);
    EXPECT_NE(At(f, 3, 1), Wave());
    // Columns away from the grid by more than an index can hold: finite phases all the same.
    f.Clear().AddSphericalWaveRF(4294.0, 0, 1e-2, 1, 0, WINDOW_NONE);
    f.AddSphericalWaveRF(-4294.0, 0, 1e-2, 1, 0, WINDOW_NONE);
    EXPECT_TRUE(std::isfinite(At(f, 3, 1).real()));
}

// Phases of every kind for the wide sine and cosine: negative, around and far beyond its limit (80.53 m), one number
// that is nearer to a multiple of pi/2 than any of its size. Rows longer than a block of columns that end within a
// step.
TEST(PointSource, ExactSamplesHaveTheScalarBits)
{
    constexpr int nx = 2110, ny = 4;
    const struct
    {
        double k, z, phase, pitch;
        WindowFunc window;
        bool single;
    } cases[] = {{1e7, 0.05, -6e5, 1e-4, WINDOW_RECT, false}, {1, 0x1.b951f1572eba5p+23, 0, 1e-30, WINDOW_RECT, false},
                 {1e7, 80.5306, 0, 1e-4, WINDOW_RECT, false}, {1e7, 80.5306, 0, 1e-4, WINDOW_COSINE, true},
                 {1e7, 2.0, 0.3, 1e-4, WINDOW_COSINE, false}, {1e7, 4e4, 0, 1e-4, WINDOW_RECT, false}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.z);
        const detail::ExactWave w{c.k,      200 * c.pitch, 0,           c.z,     c.z, c.phase,
                                  c.window, 900 * c.pitch, 4 * c.pitch, c.single};
        std::vector<float> field(2 * nx * ny), want(field);
        const detail::PointPatch patch{field.data(), nx, ny, c.pitch, c.pitch, 3, nx - 2, 0, ny};
        for (int j = 0; j < ny; ++j)
            for (int i = patch.iLo; i < patch.iHi; ++i)
            {
                const double x = (i - nx / 2) * c.pitch, y = (j - ny / 2) * c.pitch;
                const double r = std::sqrt((x - w.x0) * (x - w.x0) + ((y - w.y0) * (y - w.y0) + w.z0 * w.z0));
                const double a = w.amp / r * detail::PointWindow(w.window, w.x0, x, w.halfX) *
                                 detail::PointWindow(w.window, w.y0, y, w.halfY);
                double sine, cosine;
                detail::SinCos1(c.single ? static_cast<float>(w.k * r) : w.k * r + w.phase, sine, cosine);
                float* const sample = want.data() + 2 * (nx * j + i);
                sample[0] += static_cast<float>(a * cosine);
                sample[1] += static_cast<float>(a * sine);
            }
        AtEveryIsa(
            [&]
            {
                std::fill(field.begin(), field.end(), 0.0f);
                detail::WidePoints().exact(patch, w, 0, 1);
                detail::WidePoints().exact(patch, w, 1, ny);
                EXPECT_EQ(std::memcmp(field.data(), want.data(), field.size() * sizeof(float)), 0);
            });
    }
}

TEST(PointSource, WideFormsRepeatThePlainBits)
{
    // Random grids, sources, limits and row lengths, so that heads, tails and groups of rows of every size occur.
    std::mt19937 random(7);
    const auto uniform = [&](double a, double b)
    {
        return std::uniform_real_distribution<double>(a, b)(random);
    };
    int changed = 0;
    for (int round = 0; round < 40; ++round)
    {
        const int nx = 1 << (round % 4 == 0 ? 12 : 3 + round % 6);
        const int ny = 1 << (round % 4 == 0 ? 2 : 2 + round % 5);
        Lumora base(nx, ny, kPitch, kPitch, kLambda);
        FillRandom(base, static_cast<std::uint32_t>(round));
        const double ax = uniform(-0.1, 0.1);
        const double ay = uniform(-0.1, 0.1);
        const SphericalWaveDescriptor d(base.GetWavelength(), kPitch, kPitch, Vector(ax, ay, 1));
        const double x = uniform(-0.7, 0.7) * nx * kPitch;
        const double y = uniform(-0.7, 0.7) * ny * kPitch;
        const double z = uniform(0.5, 5.0) * (nx > ny ? ny : nx) * kPitch * (round % 3 == 0 ? 8 : 1);
        const double amp = uniform(0.2, 2.0) * z;
        const double phase = uniform(-9.0, 9.0);
        const WindowFunc w = round % 3 == 1 ? WINDOW_NONE : WINDOW_RECT;
        const std::function<void(Lumora&)> sources[] = {
            [&](Lumora& f) { f.AddSphericalWaveSqr(d, x, y, z, amp, phase, w); },
            [&](Lumora& f) { f.AddSphericalWaveSqr(d, x, y, -z, amp, phase, w); },
            [&](Lumora& f) { f.InitSphericalWaveRF(ax, ay), f.AddSphericalWaveRF(x, y, z, amp, phase, w); },
            [&](Lumora& f) { f.InitSphericalWaveRF(ax, ay), f.AddSphericalWaveRF(x, y, -z, amp, phase, WINDOW_NONE); },
            [&](Lumora& f) { f.AddSphericalWave(Vector(x, y, z), Phase(phase), amp, WindowFunc(1 + round % 3)); },
            [&](Lumora& f)
            {
                f.AddSphericalWave(x, y, -z, amp, WindowFunc(1 + round % 3));
            }};
        for (std::size_t which = 0; which < std::size(sources); ++which)
        {
            Lumora plain(1), wide(1);
            InEveryForm(
                [&]
                {
                    const Threads team(GetFftLib() == FFT_LIB_SPLIT_RADIX ? 1 : 1 + 2 * (round % 4));
                    Lumora f = base;
                    sources[which](f);
                    if (plain.N() == 1)
                        changed += SameBits(plain = f, base) ? 0 : 1;
                    if (which < 4)
                        EXPECT_TRUE(SameBits(f, plain)) << "round " << round << ", " << which;
                    else // sine and cosine in the last place of a double: a float differs by its last place at most
                        for (std::size_t n = 0; n < f.N(); ++n)
                            ASSERT_NEAR(f[n].Real(), plain[n].Real(), 1.5e-7 * (1 + std::abs(plain[n].Real()))) << n;
                    if (wide.N() == 1 && GetFftLib() != FFT_LIB_SPLIT_RADIX)
                        wide = f;
                    EXPECT_TRUE(wide.N() == 1 || SameBits(f, wide)) << "round " << round << ", " << which;
                });
        }
    }
    EXPECT_GT(changed, 150) << "most sources reach the grid";
}

TEST(PointSource, ApplicationThreadsOnPrivateFields)
{
    const SphericalWaveDescriptor d(kTurn / Blank().GetWavenumber(), kPitch, kPitch, Vector::K());
    Blank().InitSphericalWaveRF(0, 0);
    const auto cloud = [&d](Lumora& f, int seed)
    {
        for (int n = 0; n < 60; ++n)
        {
            const double a = 0.37 * n + seed;
            const double x = 60e-6 * std::cos(a);
            const double y = 60e-6 * std::sin(a);
            f.AddSphericalWaveSqr(d, x, y, -2e-3, 1e-3, a, WINDOW_RECT)
                .AddSphericalWaveRF(x, y, 1e-3, 1e-3, a, WINDOW_NONE);
            f.AddSphericalWave(x, y, 2e-3, 1e-3, WINDOW_COSINE);
        }
    };
    std::vector<Lumora> together(4, Blank(128, 128));
    std::vector<std::thread> team;
    for (int t = 0; t < 4; ++t)
        team.emplace_back([&, t] { cloud(together[static_cast<std::size_t>(t)], t); });
    for (std::thread& t : team)
        t.join();
    for (int t = 0; t < 4; ++t)
    {
        Lumora alone = Blank(128, 128);
        cloud(alone, t);
        EXPECT_TRUE(SameBits(alone, together[static_cast<std::size_t>(t)]));
    }
}

struct OpenDescriptor : SphericalWaveDescriptor
{
    using SphericalWaveDescriptor::CalcCos;
    using SphericalWaveDescriptor::CalcSin;
    using SphericalWaveDescriptor::SphericalWaveDescriptor;
};

TEST(SphericalWaveDescriptor, MembersAndComparison)
{
    const OpenDescriptor d(kLambda, 2e-6, 3e-6, Vector(0, 3, 4));
    EXPECT_EQ(d.tableSize, 1024);
    EXPECT_EQ(d.tableMask, 1023);
    EXPECT_EQ(d.tableFactor, 1024 / kLambda);
    EXPECT_DOUBLE_EQ(d.wavevector.y, 0.6 * kTurn / kLambda);
    for (int n = 0; n < 1024; ++n)
    {
        ASSERT_EQ(d.cosTable[n], std::cos(n * 0.006135923151542565));
        ASSERT_EQ(d.sinTable[n], std::sin(n * 0.006135923151542565));
    }
    // Truncation towards zero, then the low bits of the two's complement; overflow names entry 0.
    EXPECT_EQ(d.CalcSin(256.9), 1.0);
    EXPECT_EQ(d.CalcSin(-256.9), -1.0);
    EXPECT_EQ(d.CalcSin(1024.0 * 99 + 256), 1.0);
    EXPECT_EQ(d.CalcCos(3e9), 1.0);
    EXPECT_EQ(d.CalcCos(kNan), 1.0);
    EXPECT_EQ(SphericalWaveDescriptor(kLambda, 2e-6, 3e-6, Vector()).wavevector.GetLength(), 0.0);

    EXPECT_TRUE(d == SphericalWaveDescriptor(kLambda, 2e-6, 3e-6, Vector(0, 0.6, 0.8)));
    EXPECT_FALSE(d == SphericalWaveDescriptor(kLambda, 2e-6, 3e-6, Vector(0, 0.600001, 0.8)));
    for (bool (SphericalWaveDescriptor::*test)(double, double, double, Vector) const :
         {&SphericalWaveDescriptor::IsSameAs, &SphericalWaveDescriptor::IsCompatibleWith})
    {
        EXPECT_TRUE((d.*test)(kLambda, 2e-6, 3e-6, d.wavevector));
        EXPECT_FALSE((d.*test)(kLambda, 2e-6, 3e-6, Vector(0, 3, 4))) << "the argument is not scaled";
        EXPECT_FALSE((d.*test)(kLambda * (1 + 1e-15), 2e-6, 3e-6, d.wavevector));
        EXPECT_FALSE((d.*test)(kLambda, 3e-6, 3e-6, d.wavevector));
        EXPECT_FALSE((d.*test)(kLambda, 2e-6, 2e-6, d.wavevector));
    }
}

TEST(SphericalWaveDescriptor, CopiesOutliveEachOther)
{
    auto first = std::make_unique<SphericalWaveDescriptor>(kLambda, kPitch, kPitch, Vector::K());
    SphericalWaveDescriptor copy(*first), assigned(1e-6, 1e-6, 1e-6, Vector::I());
    assigned = copy;
    first.reset();
    for (const SphericalWaveDescriptor* d : {&assigned, &copy})
    {
        EXPECT_TRUE(*d == SphericalWaveDescriptor(kLambda, kPitch, kPitch, Vector::K()));
        EXPECT_EQ(d->cosTable[512], -1.0);
    }
}
} // namespace
