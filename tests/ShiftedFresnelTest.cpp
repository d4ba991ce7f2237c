// Shifted Fresnel propagation against the Fresnel integral summed in double precision: every form, descriptors, tiles,
// the one-row branch, refusals.
#include "TestTools.h"

using namespace lmltest;

namespace
{
using Descriptor = ShiftedFresnelPropDescriptor;
constexpr double kLambda = 5e-7;

Lumora Random(int nx, int ny, std::uint32_t seed = 5)
{
    Lumora f(nx, ny, 4e-6, 5e-6, kLambda);
    FillRandom(f, seed);
    f.SetOrigin(Vector(3e-5, -2e-5, 0.1));
    return f;
}

/// Zeros with pitches of its own at the lateral place (x, y) and the distance z from Random's plane.
Lumora Target(int nx, int ny, double z, double x = -1e-4, double y = 6e-5)
{
    Lumora f(nx, ny, 7e-6, 3e-6, kLambda);
    f.Clear().SetOrigin(Vector(x, y, 0.1 + z));
    return f;
}

/// exp(ikz) / (i lambda z) times the double integral of u exp(ik ((x - xi)^2 + (y - eta)^2) / 2z), as a sum.
Value Fresnel(const Lumora& u, double x, double y, double z)
{
    Value sum = 0.0;
    const double k = u.GetWavenumber();
    for (const auto [i, j] : Grid(u))
    {
        const double dx = x - (u.X(i) + u.GetOrigin().x);
        const double dy = y - (u.Y(j) + u.GetOrigin().y);
        sum += Value(u.GetReal(i, j), u.GetImag(i, j)) * std::polar(1.0, k * (dx * dx + dy * dy) / (2.0 * z));
    }
    return sum * std::polar(1.0, k * z) / Value(0.0, kLambda * z) * u.GetPx() * u.GetPy();
}

/// l2 distance of f - start from `times` Fresnel sums of u, relative to the sums.
double DistanceFromSum(const Lumora& f, const Lumora& u, double z, const Lumora* start = nullptr, double times = 1.0)
{
    double difference = 0.0;
    double norm = 0.0;
    for (const auto [i, j] : Grid(f))
    {
        const Value sum = times * Fresnel(u, f.X(i) + f.GetOrigin().x, f.Y(j) + f.GetOrigin().y, z);
        Value value(f.GetReal(i, j), f.GetImag(i, j));
        if (start)
            value -= Value(start->GetReal(i, j), start->GetImag(i, j));
        difference += std::norm(value - sum);
        norm += std::norm(sum);
    }
    return std::sqrt(difference / norm);
}

} // namespace

TEST(ShiftedFresnel, EveryFormIsTheFresnelSum)
{
    // Distances down to phases of 1e6 rad, and the other side of the source, which counts as this side.
    for (const Engine lib : EachEngine())
        for (const double z : {0.02, 3e-4, -0.02})
            for (const auto& size : {std::pair{16, 16}, {32, 4}, {2, 8}, {1, 8}})
                for (const Threads threads : EachTeam({1, 3}))
                {
                    const double distance = std::abs(z);
                    Lumora u = Random(size.first, size.second);
                    u.SetWindow(0, 1, 0, 1);
                    const Lumora before(u);
                    Lumora f = Target(size.first, size.second, z);
                    FillRandom(f, 8);
                    f.SetWindow(0, 1, 0, 1);
                    const Lumora start(f);
                    const Descriptor d(distance, f.GetPx(), f.GetPy(), u);

                    Lumora computed(f);
                    computed.ShiftedFresnelProp(u);
                    EXPECT_LT(DistanceFromSum(computed, u, distance), 2e-6) << size.first << " by " << size.second;
                    EXPECT_EQ(Frame(computed), Frame(start));
                    Lumora cached(f);
                    cached.ShiftedFresnelProp(u, d);
                    EXPECT_LT(DistanceFromSum(cached, u, distance), 2e-6);
                    EXPECT_EQ(Frame(cached), Frame(start));
                    Lumora added(f);
                    added.ShiftedFresnelPropAdd(u, d).ShiftedFresnelPropAdd(u, d);
                    EXPECT_LT(DistanceFromSum(added, u, distance, &start, 2.0), 1e-5);
                    EXPECT_EQ(Frame(added), Frame(start));
                    Lumora extended(f);
                    extended.ShiftedFresnelPropAddEx(u);
                    EXPECT_LT(DistanceFromSum(extended, u, distance, &start), 1e-5);
                    extended.ShiftedFresnelPropEx(u);
                    EXPECT_LT(DistanceFromSum(extended, u, distance), 2e-6);
                    EXPECT_EQ(Frame(extended), Frame(start));

                    for (const bool withDescriptor : {false, true})
                    {
                        Lumora moved(u);
                        if (withDescriptor)
                            moved.ShiftedFresnelProp(f.GetOrigin(), f.GetPx(), f.GetPy(), d);
                        else
                            moved.ShiftedFresnelProp(f.GetOrigin(), f.GetPx(), f.GetPy());
                        EXPECT_LT(DistanceFromSum(moved, u, distance), 2e-6);
                        EXPECT_EQ(Frame(moved), Frame(start));
                    }
                    EXPECT_TRUE(SameBits(u, before));
                }
}

TEST(ShiftedFresnel, OneRowReplacesAndHasItsOwnFactor)
{
    // pS / sqrt(lambda z) and -i instead of the root of 1 / (i lambda z).
    for (const Engine lib : EachEngine())
    {
        const Lumora u = Random(32, 1);
        Lumora f = Target(32, 1, 0.01, -1e-4, -2e-5); // the same y
        FillRandom(f, 4);
        const Descriptor d(0.01, f.GetPx(), f.GetPy(), u);
        Lumora expected(f);
        expected.ShiftedFresnelProp1d(u);
        for (int i = 0; i < 32; ++i)
        {
            const Value sum =
                Fresnel(u, f.X(i) + f.GetOrigin().x, f.GetOrigin().y, 0.01) / 5e-6 * std::sqrt(kLambda * 0.01);
            EXPECT_LT(std::abs(Value(expected.GetReal(i, 0), expected.GetImag(i, 0)) - sum), 1e-6 * std::sqrt(32.0));
        }
        const std::function<void(Lumora&)> forms[] = {
            [&](Lumora& g) { g.ShiftedFresnelProp(u); }, [&](Lumora& g) { g.ShiftedFresnelProp(u, d); },
            [&](Lumora& g) { g.ShiftedFresnelPropAdd(u, d); }, [&](Lumora& g) { g.ShiftedFresnelPropAddEx(u); },
            [&](Lumora& g)
            {
                g.ShiftedFresnelProp(u, Descriptor(1.0, 1.0, 1.0, u));
            }}; // the descriptor is not looked at
        for (const auto& form : forms)
        {
            Lumora g(f);
            form(g);
            EXPECT_TRUE(SameBits(g, expected));
        }
        Lumora moved(u); // no one-row branch here
        moved.ShiftedFresnelProp(f.GetOrigin(), f.GetPx(), f.GetPy());
        EXPECT_LT(DistanceFromSum(moved, u, 0.01), 2e-6);
    }
}

TEST(ShiftedFresnel, Descriptors)
{
    const Lumora u = Random(16, 8);
    const double z = 0.03;
    const Descriptor d(z, 7e-6, 3e-6, u);
    const double a = 7e-6 * 4e-6 / (z * kLambda);
    EXPECT_DOUBLE_EQ(d.chirpX, a);
    EXPECT_DOUBLE_EQ(d.chirpY, 3e-6 * 5e-6 / (z * kLambda));
    EXPECT_EQ(d.GetNx(), 32);
    EXPECT_EQ(d.GetNy(), 16);
    EXPECT_TRUE(SameBits(d, ScaledFftDescriptor(16, 8, d.chirpX, d.chirpY)));
    EXPECT_TRUE(d == Descriptor(z, 7e-6, 3e-6, 4e-6, 5e-6, kLambda, 16, 8));
    EXPECT_TRUE(d == Descriptor(kLambda, 7e-6, 3e-6, 4e-6, 5e-6, z, 16, 8)); // only the product of these two counts
    EXPECT_FALSE(d == Descriptor(z, 7e-6, 3e-6, 4e-6, 5e-6, kLambda, 16, 16));
    Lumora moved(u);
    moved.SetOrigin(Vector(9, 9, 9)); // lateral places do not enter
    EXPECT_TRUE(d.IsCompatibleWith(z, 7e-6, 3e-6, moved));
    // The tolerance is 1e-12 on the parameters, absolute and strict.
    const auto at = [&](double change)
    {
        return 7e-6 * 4e-6 / ((a + change) * kLambda);
    };
    const double stretch = (a + 1.2e-12) / a;
    EXPECT_TRUE(d.IsCompatibleWith(at(0.8e-12), 7e-6, 3e-6, u));
    EXPECT_FALSE(d.IsCompatibleWith(at(1.2e-12), 7e-6, 3e-6, u));
    EXPECT_FALSE(d.IsCompatibleWith(z, 7e-6 * stretch, 3e-6, u));
    EXPECT_FALSE(d.IsCompatibleWith(z, 7e-6, 3e-6, 4e-6, 5e-6, kLambda, 8, 16));
    EXPECT_TRUE(d.IsCompatibleWith(z, 7e-6, 3e-6, 4e-6, 5e-6, kLambda, 16, 8));
    for (const Engine lib : EachEngine()) // the samples count, not what the parameters would give
        for (const bool raw : {false, true})
        {
            Descriptor changed(d);
            Lumora once = Target(16, 8, z), twice(once);
            const auto run = [&](Lumora& f, const Descriptor& kernel)
            {
                raw ? f.CopyData(u).RawScaledFft(kernel) : f.ShiftedFresnelProp(u, kernel);
            };
            run(once, d);
            changed *= 2.0;
            run(twice, changed);
            once *= 2.0;
            EXPECT_LT(RelativeL2(twice, once), 1e-6);
            changed.SetPixel(3, 2, Complex(100.0, 0.0));
            run(once, changed);
            EXPECT_GT(RelativeL2(once, twice), 0.01);
        }
    Descriptor copy(d);
    EXPECT_TRUE(copy == d);
    copy.Dispose();
    EXPECT_TRUE(copy == d);
    Lumora f = Target(16, 8, z);
    EXPECT_EQ(Catch([&] { f.ShiftedFresnelProp(u, copy); }).code, 6); // never a read through null
}

TEST(ShiftedFresnel, NoDistance)
{
    for (const Engine lib : EachEngine())
    {
        const Lumora u = Random(8, 8);
        Lumora f = Target(8, 8, 0.0);
        f.SetOrigin(f.GetOrigin() + Vector(0, 0, u.GetOrigin().z - f.GetOrigin().z));
        f.ShiftedFresnelProp(u);
        EXPECT_FALSE(std::isfinite(f.GetReal(3, 3)));
        Lumora large(16, 8, 7e-6, 3e-6, kLambda);
        large.SetOrigin(f.GetOrigin());
        FillRandom(large, 2);
        const Lumora before(large);
        EXPECT_EQ(Catch([&] { large.ShiftedFresnelPropEx(u); }),
                  (Failure{6, "LumoraLib::Lumora::ShiftedFresnelProp", "descriptor is not compatible"}));
        EXPECT_TRUE(SameBits(large, before)); // not cleared
        Lumora itself(u);
        EXPECT_EQ(Catch([&] { itself.ShiftedFresnelPropEx(itself); }),
                  (Failure{6, "LumoraLib::Lumora::ShiftedFresnelPropAdd", "descriptor is not compatible"}));
        EXPECT_TRUE(SameBits(itself, u));
    }
}
