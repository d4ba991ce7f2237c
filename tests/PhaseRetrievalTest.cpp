// Phase-only output: encodings whose low frequencies carry the field, and iterative phase retrieval.

#include "TestTools.h"

#include <algorithm>
#include <stdexcept>

using namespace lmltest;

namespace
{
/// What a field has within `share` of the band on each axis.
Lumora InBand(Lumora field, double share)
{
    const int n = field.GetNx();
    field.Fft(-1);
    for (const auto [i, j] : Grid(n, n))
        if (std::abs(i - n / 2) > share * n / 2 || std::abs(j - n / 2) > share * n / 2)
            field.SetPixel(i, j, Complex(0, 0));
    return field.Fft(1);
}

Lumora Smooth(int n, double share)
{
    Lumora field(n, n, 8e-6, 8e-6, 633e-9);
    FillRandom(field, 5);
    return InBand(field, share).Normalize(1.0);
}

double DistanceInBand(const Lumora& a, const Lumora& b, double share)
{
    return RelativeL2(InBand(a, share), InBand(b, share));
}

void ExpectPhaseOnly(Lumora& field)
{
    for (std::size_t n = 0; n < field.N(); ++n)
        ASSERT_NEAR(field[n].Amplitude(), 1.0, 1e-6);
}

Lumora Diffuse(int n)
{
    Lumora field(n, n, 8e-6, 8e-6, 633e-9);
    std::srand(7);
    return field.Clear().SetRandomPhase();
}
} // namespace

TEST(PhaseRetrievalTest, EncodingsKeepTheFieldInItsBand)
{
    constexpr double kShare = 0.1;
    const Lumora field = Smooth(256, kShare);
    Lumora dropped(field);
    dropped.SetConstAmplitude(1.0);
    const double plain = DistanceInBand(dropped *= field.GetScaleFactor(dropped).Amplitude(), field, kShare);
    Lumora encoded(field);
    encoded.ConvToPolarForm().EncodeDoublePhase();
    ASSERT_TRUE(encoded.IsPolarForm());
    encoded.ConvToComplexForm();
    ExpectPhaseOnly(encoded);
    EXPECT_LT(DistanceInBand(encoded, field, kShare), 0.1 * plain);
    for (const int levels : {0, 256, 4})
    {
        (encoded = field).EncodeErrorDiffusion(levels);
        ExpectPhaseOnly(encoded);
        EXPECT_LT(DistanceInBand(encoded, field, kShare), 0.3 * plain) << levels;
        // The error stands outside: the whole band carries far more of it than the field's.
        EXPECT_GT(DistanceInBand(encoded, field, 0.99), 20.0 * DistanceInBand(encoded, field, kShare)) << levels;
        Lumora clipped(encoded); // the levels are those of the library
        EXPECT_LT(RelativeL2(clipped.HardClipPhase(levels == 0 ? 1 << 20 : levels), encoded), 1e-5) << levels;
    }
}

TEST(PhaseRetrievalTest, ReplacedAmplitudesKeepPhasesAndEnergy)
{
    const Lumora before = Smooth(64, 0.9);
    Lumora field(before), source(64, 64);
    FillRandom(source, 9);
    source.SetPixel(3, 3, Complex(0, 0));
    field.ReplaceAmplitude(source);
    EXPECT_NEAR(field.GetSquareSum() / before.GetSquareSum(), 1.0, 1e-6);
    EXPECT_NEAR(field.GetOverlapFactor(source), 1.0, 1e-6);
    for (int k = 0; k < 64; ++k)
        EXPECT_NEAR(std::remainder(double(field.GetPhase(k, 9)) - double(before.GetPhase(k, 9)), 2 * Pi), 0.0, 1e-5);
    EXPECT_EQ(field.GetAmplitude(3, 3), 0.0);
    EXPECT_EQ(field.ReplaceAmplitude(source.Clear()).GetSquareSum(), 0.0);
}

TEST(PhaseRetrievalTest, ErrorFallsAndWeightsEvenSpotsOut)
{
    Lumora target(128, 128);
    target.Clear();
    for (int k = 0; k < 30; ++k)
        target.SetPixel((13 + 29 * k + k * k) % 128, (7 + 17 * k) % 128, Complex(1, 0));
    double even[2] = {};
    for (const bool weighted : {false, true})
    {
        std::vector<PhaseRetrievalStep> steps;
        PhaseRetrieval how;
        how.iterations = 40;
        how.weighted = weighted;
        how.each = [&](const PhaseRetrievalStep& s)
        {
            return steps.push_back(s), true;
        };
        Lumora field = Diffuse(128);
        field.RetrievePhase(target, how);
        ExpectPhaseOnly(field);
        EXPECT_EQ(field.GetPx(), 8e-6);
        ASSERT_EQ(steps.size(), 40u);
        for (std::size_t n = 1; n < steps.size() && !weighted; ++n)
            EXPECT_LE(steps[n].error, steps[n - 1].error + 1e-6);
        EXPECT_LT(steps.back().error, 0.5 * steps.front().error);
        EXPECT_GT(steps.back().efficiency, 0.8);
        even[weighted] = steps.back().litError;
    }
    EXPECT_LT(even[1], 0.05 * even[0]);
}

TEST(PhaseRetrievalTest, AnyWayBetweenThePlanesAndAnyEnd)
{
    // Over a distance, by AsmProp and by functions that do the same.
    Lumora target(64, 64, 8e-6, 8e-6, 633e-9);
    target.Clear().SetRect(200e-6, 120e-6, 1.0);
    PhaseRetrieval how;
    how.iterations = 8;
    how.distance = 5e-3;
    const auto run = [&]
    {
        Lumora field = Diffuse(64);
        return field.RetrievePhase(target, how);
    };
    const Lumora byDistance = run();
    const Threads three(3);
    EXPECT_TRUE(SameBits(run(), byDistance));
    how.forward = [](Lumora& f)
    {
        f.AsmProp(5e-3);
    };
    how.back = [](Lumora& f)
    {
        f.AsmProp(-5e-3);
    };
    EXPECT_TRUE(SameBits(run(), byDistance));

    // Ended by the callback, by an exception and by a cancellation: the field is that of the iterations done.
    how.iterations = 3;
    const Lumora done = run();
    how.iterations = 8;
    how.each = [](const PhaseRetrievalStep& s)
    {
        return s.iteration < 3;
    };
    EXPECT_TRUE(SameBits(run(), done));
    Lumora field = Diffuse(64);
    how.each = [](const PhaseRetrievalStep& s)
    {
        return s.iteration < 3 || (throw std::runtime_error("mine"), true);
    };
    EXPECT_THROW(field.RetrievePhase(target, how), std::runtime_error);
    EXPECT_TRUE(SameBits(field, done));
    field = Diffuse(64);
    SetProgressHandler([](void*, const char*, std::int64_t, std::int64_t) { return true; }, nullptr);
    how.each = [](const PhaseRetrievalStep& s)
    {
        if (s.iteration == 3)
            SetProgressHandler([](void*, const char*, std::int64_t, std::int64_t) { return false; }, nullptr);
        return true;
    };
    EXPECT_EQ(Catch([&] { field.RetrievePhase(target, how); }),
              (Failure{ERR_SOMETHING, "LumoraLib::Lumora::RetrievePhase", "cancelled"}));
    SetProgressHandler(nullptr, nullptr);
    EXPECT_TRUE(SameBits(field, done));
}
