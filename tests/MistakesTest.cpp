// Reports of likely mistakes: each kind is reported once under the operation's name, its healthy twin is not, and
// nothing is reported while the reports are off.
#include "TestTools.h"

#include <algorithm>

using namespace lmltest;

namespace
{
std::string reports;
void Collect(const char* text)
{
    reports += std::string(text) + "\n";
}

Lumora Field(int n = 64, double pitch = 4e-6)
{
    Lumora field(n, n, pitch, pitch, 0.5e-6);
    field.SetOrigin(Vector(0.0, 0.0, 0.0));
    field.SetConst(Complex(1.0, 0.0));
    return field;
}

Lumora Random(int n = 64, double pitch = 4e-6)
{
    Lumora field = Field(n, pitch);
    FillRandom(field);
    return field;
}

template <class Change>
Lumora Changed(Change&& change)
{
    Lumora field = Field();
    change(field);
    return field;
}

/// Light off the axis by 0.05, onto a tilted plane whose band is wide enough with a pitch of 4 um and not with 16 um.
void RotateTo(double pitch)
{
    RMatrix turn = RMatrix::CRotationY(0.02);
    Lumora source = Field();
    source.MultiplyPlaneWave(0.05, 0.0, Phase(0));
    Field(64, pitch).Rotate(source, turn, nullptr, CUBIC8_INTERPOL, true);
}
} // namespace

TEST(Mistakes, EachKindIsReportedOnceAndItsHealthyTwinIsNot)
{
    const Lumora other = Changed([](Lumora& f) { f.SetPx(5e-6); });
    const Lumora lastBit = Changed([](Lumora& f) { f.SetPx(std::nextafter(4e-6, 1.0)); });
    const Lumora red = Changed([](Lumora& f) { f.SetWavelength(0.6e-6); });
    const Lumora behind = Changed([](Lumora& f) { f.SetOrigin(Vector(0.0, 0.0, 1e-3)); });
    const Lumora aslant =
        Changed([](Lumora& f) { f.SetNormalVector(Vector(0.0, 0.6, 0.8)).SetOrigin(Vector(0.0, 0.0, 1e-3)); });
    const Lumora polar = Changed([](Lumora& f) { f.ConvToPolarForm(); });
    const Lumora spectrum = Changed([](Lumora& f) { f.Fft(-1); });
    const Lumora healthy = Field();
    const auto tilted = [](double z)
    {
        Lumora field = Field();
        field.SetNormalVector(Vector(0.6, 0.0, 0.8)).SetOrigin(Vector(0.6 * z, 0.0, 0.8 * z));
        return field;
    };
    const auto at = [](double x, double z)
    {
        Lumora field = Field();
        field.SetOrigin(Vector(x, 0.0, z));
        return field;
    };
    const struct
    {
        std::string function, contains; // of the one report; empty for none
        std::function<void()> call;
    } cases[] = {
        // clang-format off
        {"operator+=", "pitch in x is 4 um in this field and 5 um", [&] { Field() += other; }},
        {"operator-=", "wavelength is 500 nm in this field and 600 nm", [&] { Field() -= red; }},
        {"operator*=", "different planes. The origin is (0, 0, 0) mm in this field and (0, 0, 1) mm", [&] { Field() *= behind; }},
        {"operator*=", "(0, 0.6, 0.8) in the other one. The origin is (0, 0, 0) mm", [&] { Field() *= aslant; }},
        {"operator/=", "polar", [&] { Field() /= polar; }},
        {"operator+=", "spectrum", [&] { Field() += spectrum; }},
        {"", "", [&] { (((Field() += healthy) -= lastBit) *= healthy) /= healthy; }},
        {"Superimpose", "pitch in x", [&] { Field().Superimpose(const_cast<Lumora&>(other), 0.0f, 0.0f); }},
        {"Add", "wavelength", [&] { Field().Add(red); }},
        {"ResamplingCopy", "wavelength", [&] { Field().ResamplingCopy(red, CUBIC4_INTERPOL); }},
        {"", "", [&] { Field().ResamplingAdd(other, CUBIC4_INTERPOL); }},
        {"AsmProp", ": 54 % of the energy lies outside the band limit", [] { Random().AsmProp(3e-3); }},
        {"ExactAsmProp", "outside the band limit", [] { Random().ExactAsmProp(0.1); }},
        {"AsmPropFs", "outside the band limit", [] { Random().Fft(-1).AsmPropFs(0.1); }},
        {"ShiftedAsmProp", "outside the band limit", [&] { at(0.0, 0.1).ShiftedAsmProp(Random(), 1); }},
        {"", "", [&] { at(1e-3, 0.1).ShiftedAsmProp(Random(), 1); }},
        {"", "", [] { Field().AsmProp(0.1).RawAsmProp(0.1).ExactAsmProp(1e-4); }},
        {"", "", [] { (Field().SetGaussian(5e-5, 2.0, 1e-6)).ConvToPolarForm().AsmProp(0.1); }},
        {"AddSphericalWave", "stands in the plane", [] { Field().AddSphericalWave(0.0, 0.0, 0.0, 1.0, WINDOW_RECT); }},
        {"AddSphericalWave", "below half a wavelength", [] { Field(64, 0.2e-6).AddSphericalWave(Vector(0.0, 0.0, -1e-3)); }},
        {"AddSphericalWave", "stands in the plane", [] { Field().AddSphericalWave(Vector(9.0, 0.0, -31e-6)); }},
        {"", "", [] { Field().AddSphericalWave(Vector(9.0, 0.0, -33e-6)); }},
        {"AddSphericalWaveSQR", "stands in the plane",
         [] { Lumora field = Field(); field.InitSphericalWaveSQR(Vector(0.0, 0.0, 1.0)); field.AddSphericalWaveSQR(0.0, 0.0, 0.0, 1.0, 0.0, WINDOW_RECT); }},
        {"AddSphericalWaveRF", "positive z only",
         [] { Lumora field = Field(); field.InitSphericalWaveRF(0.0, 0.0); field.AddSphericalWaveRF(0.0, 0.0, -1e-3, 1.0, 0.0, WINDOW_RECT); }},
        {"", "", [] { Field().AddSphericalWave(Vector(0.0, 0.0, -1e-3)).AddSphericalWave(Vector(9.0, 0.0, -1e-3)); }},
        {"ShiftedFresnelProp", "over the distance 0 um", [&] { Field().ShiftedFresnelProp(healthy); }},
        {"FresnelProp", "over the distance 0 um", [] { Field().FresnelProp(0.0); }},
        {"FourierProp", "over the distance 0 um", [] { Field().FourierProp(0.0); }},
        {"", "", [&] { at(0.0, 0.1).ShiftedFresnelPropAddEx(Field(32)).FresnelProp(0.1); }},
        {"RotateFs", "of the light misses the destination's band", [] { RotateTo(16e-6); }},
        {"", "", [] { RotateTo(4e-6); }},
        {"ShiftedAsmProp", "tilted", [&] { tilted(1e-3).ShiftedAsmProp(tilted(0.0), 1); }},
        {"ShiftedAsmPropAddEx", "tilted", [&] { tilted(1e-3).ShiftedAsmPropEx(tilted(0.0)); }},
        {"ShiftedAsmPropAddEx", "half a pitch off",
         [&]
         {
             Lumora four(4, 4, 1e-6, 1e-6, 633e-9), row(8, 1, 1e-6, 1e-6, 633e-9);
             four.SetOrigin(Vector(0, 0, 1e-3));
             four.ShiftedAsmPropEx(row.Clear());
         }},
        {"ShiftedFresnelProp", "tilted", [&] { tilted(1e-2).ShiftedFresnelProp(tilted(0.0)); }},
        // clang-format on
    };
    SetMistakeHandler(Collect);
    for (const auto& c : cases)
    {
        reports.clear();
        c.call();
        EXPECT_EQ(reports, "") << "off";
        SetMistakeReports(true);
        c.call();
        SetMistakeReports(false);
        const std::string head = "LumoraLib::Lumora::" + c.function + ": ";
        EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), c.function.empty() ? 0 : 1)
            << c.function << ", " << c.contains << ": " << reports;
        EXPECT_NE(reports.find(c.contains), std::string::npos) << reports;
        EXPECT_TRUE(c.function.empty() || reports.rfind(head, 0) == 0) << head << reports;
    }
    SetMistakeHandler(nullptr);
}

TEST(Mistakes, WithoutAHandlerTheLogAndTheConsoleGetThem)
{
    SetMistakeReports(true);
    EXPECT_TRUE(GetMistakeReports());
    ::testing::internal::CaptureStderr();
    Field().FourierProp(0.0);
    SetMistakeReports(false);
    EXPECT_EQ(
        ::testing::internal::GetCapturedStderr(),
        "*** CHECK: LumoraLib::Lumora::FourierProp: propagation over the distance 0 um: source and destination lie "
        "on one plane.\n");
}
