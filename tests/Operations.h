// One table of operations on two fields and a folder of files, for the tests that run each of them through faults or
// inside a program's own threads, and for the fuzz driver that makes sequences of them.
#ifndef LML_OPERATIONS_H
#define LML_OPERATIONS_H

#include "LmlAdvice.h"
#include "LmlLarge.h"
#include "LmlLumora.h"
#if defined(LML_TEST_PICTURES)
#include "LmlPictures.h"
#endif
#include "field/FieldTools.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

#include <unistd.h>

namespace lmltest
{
using namespace LumoraLib;

/// A folder of this process, in memory where the system has such a place; removed at the object's end.
class MemoryFolder
{
public:
    MemoryFolder()
    {
        path_ =
            access("/dev/shm", W_OK) == 0 ? std::string("/dev/shm") : std::filesystem::temp_directory_path().string();
        path_ += "/lml-test.XXXXXX";
        if (mkdtemp(path_.data()) == nullptr)
            std::abort();
    }
    ~MemoryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

/// What an operation works on, and where its numbers come from: the usual ones, or those that bytes give.
class Bench
{
public:
    Bench(const std::string& folder, const std::uint8_t* data, std::size_t size, int samples = 8)
        : a(samples, samples, 1e-5, 1e-5, 633e-9), b(samples, samples, 1e-5, 1e-5, 633e-9), folder_(folder),
          data_(data), size_(size)
    {
        path_.reserve(512); // no allocation of the table's own stands among those of an operation
        a.SetOrigin(Vector(0.0, 0.0, 0.01));
        for (Lumora* field : {&a, &b})
            for (std::size_t n = 0; n < field->N(); ++n)
                (*field)[n] = Complex(0.25 + static_cast<double>(n % 7), static_cast<double>(n % 5) - 2.0);
    }

    Lumora a; ///< the operation's object
    Lumora b; ///< its second field, which no operation changes

    bool HasMore() const { return size_ > 0; }
    std::uint8_t Byte()
    {
        if (size_ == 0)
            return 0;
        --size_;
        return *data_++;
    }
    /// Inside low ... high most of the time, any 32-bit number at others.
    int Int(int usual, int low, int high)
    {
        if (size_ == 0)
            return usual;
        const std::uint8_t kind = Byte();
        if (kind < 240)
            return low + kind % (high - low + 1);
        constexpr std::int32_t extremes[] = {INT32_MIN, INT32_MAX, -1, 0, 1 << 16, 1 << 30};
        return kind < 252 ? extremes[kind % 6]
                          : static_cast<std::int32_t>(std::uint32_t{Byte()} | std::uint32_t{Byte()} << 13 |
                                                      std::uint32_t{Byte()} << 24);
    }
    double Real(double usual)
    {
        if (size_ == 0)
            return usual;
        constexpr double infinity = std::numeric_limits<double>::infinity();
        constexpr double extremes[] = {
            0.0,   -0.0,   1.0,      -1.0,      0.5,   3.0,    1e10, -1e10,
            1e300, 1e-300, infinity, -infinity, 1e-30, 0x1p31, 1e18, std::numeric_limits<double>::quiet_NaN()};
        const std::uint8_t kind = Byte();
        return kind < 16 ? extremes[kind] : kind < 96 ? usual : usual * (static_cast<double>(kind) - 160.0) / 32.0;
    }
    template <class Enumeration>
    Enumeration Choice(Enumeration usual, int low, int high)
    {
        return static_cast<Enumeration>(Int(usual, low, high));
    }
    LumoraLib::Vector Place(double x, double y, double z) { return LumoraLib::Vector(Real(x), Real(y), Real(z)); }
    Complex Value() { return Complex(Real(0.5), Real(-0.25)); }
    /// Valid until the next call.
    const char* Path(const char* name) { return PathText(name).c_str(); }
    const std::string& PathText(const char* name) { return path_.assign(folder_).append("/").append(name); }

private:
    std::string folder_;
    std::string path_;
    const std::uint8_t* data_;
    std::size_t size_;
};

/// Files of every format with b's samples, as the loaders of the table expect them.
inline void PrepareFiles(Bench& t)
{
    t.b.SaveAsLw(t.Path("lw"), nullptr);
    t.b.SaveAsDE(t.Path("de"));
    t.b.SaveAsLm(t.Path("lm"));
    CreateFileMpLm(t.Path("mp"), 3);
    t.b.SaveAsMpLm(t.Path("mp"), 0);
    t.b.SaveAsMpLm(t.Path("mp"), 2);
    CreateFileSegLm(t.Path("seg"), 2, 2);
    t.b.SaveAsSegLm(t.Path("seg"), 0, 0);
    t.b.SaveAsSegLm(t.Path("seg"), 1, 1);
    t.b.SaveAsBmp(t.Path("bmp"), ModeAmplitude, GradationGrey, 0, 8.0, 0.0);
    t.b.SaveAsHBI(t.Path("hbi"), ModeAmplitude, 0.0, 8.0, nullptr);
    t.b.SaveNpy(t.Path("npy"));
#if defined(LML_TEST_PICTURES)
    SavePicture(t.Path("field.png"), t.b);
#endif
    if (std::FILE* mesh = std::fopen(t.Path("ply"), "w"))
    {
        std::fputs("ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
                   "property uchar intensity\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n"
                   "0 0 0 1\n1 0 0 2\n0 1 0.5 3\n3 0 1 2\n",
                   mesh);
        std::fclose(mesh);
    }
    if (std::FILE* list = std::fopen(t.Path("csv"), "w"))
    {
        std::fprintf(list, "%d,%d\n", t.b.GetNx(), t.b.GetNy());
        for (std::size_t n = 0; n < t.b.N(); ++n)
            std::fprintf(list, "%g,%g\n", t.b.GetDataPointer()[n].GetReal(), t.b.GetDataPointer()[n].GetImag());
        std::fclose(list);
    }
}

#if defined(LML_TEST_PICTURES)
/// Of the operation that plots; lists of one's own ask for memory too.
inline std::vector<ProfileLine>& Lines()
{
    static std::vector<ProfileLine> lines;
    return lines;
}
#endif

/// What is wrong with a field after any operation, or null: its sizes and its samples agree, or samples are refused.
inline const char* Inconsistency(const Lumora& field)
{
    const std::size_t samples = detail::FieldAccess::Capacity(field);
    if (samples != 0 && field.GetDataPointer() == nullptr)
        return "samples without a buffer";
    // Every sample that is there can be read; of many, some, the last one with them.
    const std::size_t announced = field.GetNx() > 0 && field.GetNy() > 0 ? std::min(field.N(), samples) : 0;
    const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(field.GetDataPointer());
    volatile unsigned sum = 0;
    for (std::size_t n = announced * sizeof(Complex), step = announced > 65536 ? 4093 : 1; n > 0;
         n -= std::min(n, step))
        sum = sum + bytes[n - 1];
    try
    {
        if (announced <= 65536)
            field.GetSquareSum();
    }
    catch (const LumoraException& e)
    {
        if (e.GetErrorCode() != ERR_SOMETHING)
            return "samples that are refused under another code";
    }
    return nullptr;
}

/// What a failed operation leaves of its field.
enum class After
{
    Same,      ///< what was there before
    Documented ///< the state that its documentation describes: a field that other operations take or refuse
};

struct Operation
{
    const char* name;
    After after;
    void (*prepare)(Bench&); ///< what stands before it; no fault comes there
    void (*run)(Bench&);
};

#define LML_PREPARED(name, after, setup, call)                                                                         \
    Operation                                                                                                          \
    {                                                                                                                  \
        name, After::after, []([[maybe_unused]] Bench& t) { setup; },                                                  \
            []([[maybe_unused]] Bench& t)                                                                              \
        {                                                                                                              \
            call;                                                                                                      \
        }                                                                                                              \
    }
#define LML_OPERATION(name, after, call) LML_PREPARED(name, after, , call)

// clang-format off
inline const Operation kOperations[] = {
    // Life and geometry of a field
    LML_OPERATION("construct", Same, Lumora(t.Int(16, 0, 64), t.Int(16, 0, 64))),
    LML_OPERATION("copy", Same, Lumora(t.b)),
    LML_OPERATION("assign", Same, t.a = t.b),
    LML_OPERATION("assign a larger one", Same, Lumora c(t.Int(64, 0, 64), t.Int(32, 0, 64)); c.Clear(); t.a = c),
    LML_OPERATION("move", Same, Lumora c(t.b); t.a = std::move(c); c = Lumora(0, 0)),
    LML_OPERATION("Init", Documented, t.a.SetNx(t.Int(64, -4, 64)).SetNy(t.Int(32, -4, 64)); t.a.Init(nullptr); t.a.Clear()),
    LML_OPERATION("sizes without samples", Documented, t.a.SetNx(t.Int(20, -4, 64)).SetNy(t.Int(20, -4, 64))),
    LML_OPERATION("Dispose", Documented, t.a.Dispose()),
    LML_OPERATION("parameters", Same, t.a.SetPx(t.Real(1e-5)).SetPy(t.Real(1e-5)).SetWavelength(t.Real(633e-9)).SetOrigin(t.Place(1e-4, 0.0, 0.01))),
    LML_OPERATION("SetNormalVector", Same, t.a.SetNormalVector(t.Place(0.0, 0.0, 1.0))),
    LML_OPERATION("form", Same, t.a.Form() = t.Choice(COMPLEX_AMPLITUDE, 0, 3)),
    LML_OPERATION("SetWindow", Same, t.a.SetWindow(t.Int(2, 0, 8), t.Int(7, 0, 8), t.Int(3, 0, 8), t.Int(6, 0, 8))),
    LML_OPERATION("SetWindow in metres", Same, t.a.SetWindow(t.Real(-3e-5), t.Real(3e-5), t.Real(-4e-5), t.Real(4e-5))),
    LML_OPERATION("any window", Same, t.a.Window() = LML_RECT(t.Int(2, 0, 8), t.Int(7, 0, 8), t.Int(3, 0, 8), t.Int(6, 0, 8))),
    LML_OPERATION("common window", Same, Lumora c(t.b); t.a.SetWindowCommon(c); t.a.TransferWindow(c)),
    LML_OPERATION("indices", Same, t.a.xtoi(t.Real(1e-5)); t.a._xtoi(t.Real(1e-5)); t.a._ytoj(t.Real(1e-5))),
    LML_OPERATION("SetNumThreads", Same, SetNumThreads(t.Int(1, 1, 2) > 1 ? 2 : 1)),
    LML_OPERATION("SetFftLib", Same, SetFftLib(t.Choice(FFT_LIB_VENDOR, 0, 1))),
    // Arithmetic, conversion
    LML_OPERATION("arithmetic", Same, t.a += t.b; t.a -= t.b; t.a *= t.b; t.a /= t.b; -t.a),
    LML_OPERATION("constants", Same, t.a *= ComplexDouble(t.Real(2.0), t.Real(0.0)); t.a += ComplexDouble(t.Real(1.0), 0.0); t.a /= t.Real(2.0)),
    LML_OPERATION("SetConst", Same, t.a.SetConst(t.Value()); t.a.SetConstWin(t.Value()); t.a.SetConstWinReal(t.Real(1.0))),
    LML_OPERATION("SetConstAmplitude", Same, t.a.SetConstAmplitude(t.Real(1.0)); t.a.SetConstWinPhase(t.Real(1.0))),
    LML_OPERATION("CopyData", Same, t.a.CopyData(t.b)),
    LML_OPERATION("CopyParam", Same, t.a.CopyParam(t.b)),
    LML_OPERATION("Conv", Same, t.a.ConvToIntensity()),
    LML_OPERATION("ConvToLogIntensity", Same, t.a.ConvToLogIntensity().ConvToConjugate().ConvToAbsolute()),
    LML_OPERATION("Normalize", Same, t.a.Normalize(t.Real(1.0))),
    LML_OPERATION("NormalizeWin", Same, t.a.NormalizeWin(t.Real(1.0))),
    LML_OPERATION("ImageRotation", Same, t.a.ImageRotation(t.Int(1, 0, 4))),
    // Interpolation, resampling, measures
    LML_OPERATION("GetInterpolVal", Same, t.a.GetInterpolVal(t.Real(1.3e-5), t.Real(-2e-5), t.Choice(BICUBIC_INTERPOL, 0, 9))),
    LML_OPERATION("CubicInterpolX", Same, t.a.CubicInterpolX(t.Real(1.3e-5), t.Real(2e-5), t.Int(8, 4, 9)); t.a.SincInterpolX(t.Real(1e-5), t.Real(0.0))),
    LML_OPERATION("GenCubicTable", Same, Lumora::GenCubicTable()),
    LML_PREPARED("ResamplingCopy", Same, t.a.SetOrigin(t.b.GetOrigin()), t.a.ResamplingCopy(t.b, t.Choice(BICUBIC_INTERPOL, 0, 9))),
    LML_PREPARED("ResamplingAdd", Same, t.a.SetOrigin(t.b.GetOrigin()), t.a.ResamplingAdd(t.b, t.Choice(CUBIC8_INTERPOL, 0, 9))),
    LML_PREPARED("ResamplingMultiply", Same, t.a.SetOrigin(t.b.GetOrigin()), t.a.ResamplingMultiply(t.b, t.Choice(LINEAR_INTERPOL, 0, 9))),
    LML_PREPARED("Add", Same, t.a.SetOrigin(t.b.GetOrigin()), t.a.Add(t.b); t.a.Multiply(t.b)),
    LML_OPERATION("GetFrame", Same, t.a.GetFrame(t.Int(2, -1, 5))),
    LML_OPERATION("local system", Same, t.a.GetGlobalPosition(t.Place(1.0, 2.0, 3.0)); t.a.GetLocalPosition(t.Place(1.0, 2.0, 3.0)); t.a.GetPlane(); t.a.GetOpticalAxis()),
    LML_OPERATION("measures", Same, t.a.GetSquareSum(); t.a.GetSquareAverage(); t.a.GetAmplitudeMax(); t.a.GetAmplitudeVariance(); t.a.GetAmplitudeMaxWhole()),
    LML_OPERATION("GetEnergyRatioInWindow", Same, t.a.GetEnergyRatioInWindow()),
    LML_OPERATION("GetSnr", Same, t.a.GetSnr(t.b, t.a.GetScaleFactor(t.b))),
    LML_OPERATION("GetOverlapFactor", Same, t.a.GetOverlapFactor(t.b)),
    LML_OPERATION("CreateRealHistogram", Same, std::unique_ptr<Lumora>(&t.a.CreateRealHistogram(t.Int(20, 1, 64)))),
    // Synthesis, changes of size, drawing, phase
    LML_OPERATION("SetRect", Same, t.a.SetRect(t.Real(8e-5), t.Real(5e-5), t.Real(1.0))),
    LML_OPERATION("SetGaussian", Same, t.a.SetGaussian(t.Real(5e-5), t.Real(2.0), t.Real(1.0)).SetSeparableGaussian(t.Real(5e-5), t.Real(5e-5), t.Real(2.0), 2.0, 1.0)),
    LML_OPERATION("SetPlaneWave", Same, t.a.SetPlaneWave(t.Place(0.01, 0.0, 1.0), 0); t.a.MultiplyPlaneWave(t.Place(0.01, 0.0, 1.0), 0)),
    LML_OPERATION("SetPlaneWave by cosines", Same, t.a.SetPlaneWave(t.Real(0.01), t.Real(0.02), 0)),
    LML_OPERATION("ReduceByAverage", Same, t.a.ReduceByAverage(t.Int(1, -1, 3), t.Int(2, -1, 3))),
    LML_OPERATION("Replicate", Same, t.a.Replicate(t.Int(1, -1, 2))),
    LML_OPERATION("Pixelation", Same, t.a.Pixelation(t.Int(1, -1, 2))),
    LML_OPERATION("EnlargeZeroFill", Same, t.a.EnlargeZeroFill(t.Int(1, -1, 2))),
    LML_OPERATION("ExtractWindow", Same, t.a.ExtractWindow(t.b, t.Value())),
    LML_OPERATION("ShiftZeroFill", Same, t.a.ShiftZeroFill(t.Real(2e-5), t.Real(-3e-5))),
    LML_OPERATION("ShiftZeroFillX", Same, t.a.ShiftZeroFillX(t.Real(2e-5))),
    LML_OPERATION("Superimpose", Same, Lumora c(t.b); t.a.Superimpose(c, static_cast<float>(t.Real(2e-5)), static_cast<float>(t.Real(-3e-5)))),
    LML_OPERATION("PaintTriangle", Same, t.a.PaintTriangle(t.Int(2, -4, 20), t.Int(3, -4, 20), t.Int(6, -4, 20), t.Int(5, -4, 20), t.Int(7, -4, 20), t.Int(7, -4, 20), t.Value())),
    LML_OPERATION("PaintTriangle by points", Same, PointArray p(0); for (int n = 0; n < 3; ++n) p.Insert(t.Place(n == 0 ? 5e-5 : -4e-5, n == 1 ? 5e-5 : -4e-5, 0.0)); t.a.PaintTriangle(p, t.Value())),
    LML_OPERATION("Paint", Same, t.a.Paint(t.Int(5, -1, 16), t.Int(6, -1, 16), t.Value())),
    LML_OPERATION("DrawLine", Same, t.a.DrawLine(t.Int(2, -4, 20), t.Int(3, -4, 20), t.Int(6, -4, 20), t.Int(5, -4, 20), t.Value())),
    LML_OPERATION("Embed", Same, t.a.Embed(t.Int(1, -1, 2), t.Int(1, -1, 2))),
    LML_OPERATION("Extract", Same, t.a.Extract(t.Int(1, -1, 3))),
    LML_OPERATION("PartialClip", Same, t.a.PartialClipAmplitude(t.Int(4, 0, 9), t.Real(0.25)); t.a.PartialClipPhase(t.Int(4, 0, 9), t.Real(0.25))),
    LML_OPERATION("HardClip", Same, t.a.HardClipAmplitude(t.Int(4, 0, 9)); t.a.HardClipPhase(t.Int(4, 0, 9))),
    LML_OPERATION("SetRandomPhase", Same, t.a.SetRandomPhase()),
    LML_OPERATION("SetQuadraticPhase", Same, t.a.SetQuadraticPhase(t.Real(0.1))),
    LML_OPERATION("encode", Same, t.a.EncodeDoublePhase(t.Real(0.0))),
    LML_OPERATION("EncodeErrorDiffusion", Same, t.a.EncodeErrorDiffusion(t.Int(4, -1, 9), t.Real(0.0))),
    LML_OPERATION("ReplaceAmplitude", Same, t.a.ReplaceAmplitude(t.b)),
    LML_OPERATION("RetrievePhase", Documented, PhaseRetrieval how; how.iterations = std::min(t.Int(2, -1, 3), 3); how.weighted = t.Byte() % 2 != 0; how.distance = t.Real(0.0); t.a.RetrievePhase(t.b, how)),
    // Transforms
    LML_OPERATION("Fft", Same, t.a.Fft(t.Int(-1, -1, 1))),
    LML_PREPARED("Fft of a polar field", Same, t.a.Form() = POLAR_AMPLITUDE, t.a.Fft(t.Int(-1, -1, 1))),
    LML_PREPARED("Fft by the split-radix engine", Same, SetFftLib(FFT_LIB_SPLIT_RADIX), t.a.Fft(t.Int(-1, -1, 1))),
    LML_PREPARED("Fft of a long row", Same, t.a.SetNx(4096).SetNy(1); t.a.Init(nullptr); t.a.Clear(), t.a.Fft(t.Int(-1, -1, 1))),
    LML_OPERATION("SwitchQuadrant", Same, t.a.SwitchQuadrant().FakeFft()),
    LML_PREPARED("Fft of a long row", Same, t.a.SetNx(t.Int(1 << 17, 1, 64)).SetNy(1); t.a.Init(nullptr); t.a.Clear(), t.a.Fft(-1)),
    LML_OPERATION("RawScaledFft", Same, t.a.RawScaledFft(t.Real(0.05), t.Real(-0.05))),
    LML_PREPARED("RawScaledFft by the split-radix engine", Same, SetFftLib(FFT_LIB_SPLIT_RADIX), t.a.RawScaledFft(t.Real(0.05), t.Real(-0.05))),
    LML_OPERATION("RawScaledFft by a descriptor", Same, const ScaledFftDescriptor d(t.a, t.Real(0.05), t.Real(0.05)); t.a.RawScaledFft(d)),
    LML_OPERATION("ScaledFft", Same, t.a.ScaledFft(t.Real(-0.5), t.Real(0.5))),
    LML_PREPARED("ScaledFft1d", Same, t.a.SetNx(64).SetNy(1); t.a.Init(nullptr); t.a.Clear(), t.a.ScaledFft1d(t.Real(-0.5))),
    // Propagation
    LML_PREPARED("RawAsmPropFs", Same, t.a.Form() = SPECTRUM, t.a.RawAsmPropFs(t.Real(0.01))),
    LML_PREPARED("AsmPropFs", Same, t.a.Form() = SPECTRUM, t.a.AsmPropFs(t.Real(0.01))),
    LML_OPERATION("RawAsmProp", Same, t.a.RawAsmProp(t.Real(0.01))),
    LML_OPERATION("AsmProp", Same, t.a.AsmProp(t.Real(0.01))),
    LML_OPERATION("AsmProp with kept factors", Same, Lumora c(64, 64, 1e-5, 1e-5, 633e-9); c.SetConst(Complex(1.0, 0.5)); for (int n = 0; n < 3; ++n) c.AsmProp(t.Real(0.01)); t.a = c),
    LML_PREPARED("AsmProp of a polar field", Same, t.a.Form() = POLAR_AMPLITUDE, t.a.AsmProp(t.Real(0.01))),
    LML_PREPARED("AsmProp by the split-radix engine", Same, SetFftLib(FFT_LIB_SPLIT_RADIX), t.a.AsmProp(t.Real(0.01))),
    LML_OPERATION("PropagateStack", Same, double d[2]; d[0] = t.Real(0.01); d[1] = t.Real(-0.02); t.a.PropagateStack(d, 2, [](const Lumora&, std::size_t) { return true; }, t.Choice(STACK_ASM, 0, 1))),
    LML_OPERATION("MeasureStack", Same, double d[2]; d[0] = t.Real(0.01); d[1] = t.Real(0.03); t.a.MeasureStack(d, 2, t.Choice(FOCUS_GRADIENT, 0, 5), t.Choice(STACK_EXACT_ASM, 0, 1))),
    LML_PREPARED("PropagateStack by the split-radix engine", Same, SetFftLib(FFT_LIB_SPLIT_RADIX), const double d = t.Real(0.01); t.a.PropagateStack(&d, 1, [](const Lumora&, std::size_t) { return true; }, t.Choice(STACK_ASM, 0, 1))),
    LML_OPERATION("ExactAsmProp", Same, t.a.ExactAsmProp(t.Real(0.01))),
    LML_OPERATION("FresnelProp", Same, t.a.FresnelProp(t.Real(0.01))),
    LML_OPERATION("FourierProp", Same, t.a.FourierProp(t.Real(0.01))),
    LML_OPERATION("BackFourierProp", Same, t.a.BackFourierProp(t.Real(0.01))),
    LML_OPERATION("_Old_SPWProp", Same, t.a._Old_SPWProp(t.Real(0.01))),
    LML_PREPARED("SPWPropFsTbl", Same, t.a.Form() = SPECTRUM, t.a.SPWPropFsTbl(t.Real(0.01), TrigTable(10u))),
    LML_OPERATION("ShiftedAsmProp", Same, t.a.ShiftedAsmProp(t.b, t.Int(1, 0, 2))),
    LML_OPERATION("ShiftedAsmPropAdd", Same, t.a.ShiftedAsmPropAdd(t.b, t.Int(1, 0, 2))),
    LML_OPERATION("ShiftedAsmPropEx", Documented, t.a.ShiftedAsmPropEx(t.b)),
    LML_OPERATION("ShiftedAsmPropAddEx", Documented, Lumora c(4, 16, 1e-5, 1e-5, 633e-9); c.Clear(); t.a.ShiftedAsmPropAddEx(c)),
    LML_OPERATION("Advise", Same, ToText(Advise(t.b, AdviceGeometry{8, 16, t.Real(1e-5), 1e-5, t.Place(1e-5, 0.0, 0.02), t.Place(0.0, 0.0, 1.0)}, {.tolerance = t.Real(0.02)}))),
    LML_PREPARED("PropagateTo", Same, t.a.SetPx(t.Real(1e-5)).SetOrigin(t.Place(1e-5, 0.0, 0.02)).SetNormalVector(t.Place(0.0, 0.1, 1.0)), PropagateTo(t.a, t.b, {.bestEffort = true})),
    LML_OPERATION("ShiftedFresnelProp", Same, t.a.ShiftedFresnelProp(t.b)),
    LML_PREPARED("ShiftedFresnelProp by the split-radix engine", Same, SetFftLib(FFT_LIB_SPLIT_RADIX), t.a.ShiftedFresnelProp(t.b)),
    LML_OPERATION("ShiftedFresnelProp in place", Same, t.a.ShiftedFresnelProp(t.Place(1e-4, 0.0, 0.03), t.Real(2e-5), t.Real(2e-5))),
    LML_OPERATION("ShiftedFresnelProp by a descriptor", Same, const ShiftedFresnelPropDescriptor d(t.Real(0.01), 1e-5, 1e-5, t.b); t.a.ShiftedFresnelPropAdd(t.b, d)),
    LML_OPERATION("ShiftedFresnelPropEx", Documented, Lumora c(4, 16, 1e-5, 1e-5, 633e-9); c.Clear(); t.a.ShiftedFresnelPropEx(c)),
    LML_OPERATION("ShiftedFresnelPropAddEx", Documented, t.a.ShiftedFresnelPropAddEx(t.b)),
    LML_OPERATION("Rotate", Same, RMatrix r = RMatrix::RotationY(t.Real(0.02)); SFrequency f; t.a.Rotate(t.b, r, &f, t.Choice(BICUBIC_INTERPOL, 0, 9), t.Byte() % 2 == 0)),
    LML_PREPARED("RotateFs", Same, t.a.Form() = SPECTRUM, Lumora c(t.b); c.Fft(-1); RMatrix r = RMatrix::RotationX(t.Real(0.02)); t.a.RotateFs(c, r, nullptr, t.Choice(LINEAR_INTERPOL, 0, 9), true)),
    LML_PREPARED("GetRotationFs", Documented, t.a.Form() = SPECTRUM, Lumora c(t.b); c.Fft(-1); RMatrix r = RMatrix::RotationX(t.Real(0.02)); c.GetRotationFs(t.a, r); c.GetRotationParaFs(t.a)),
    LML_OPERATION("RotateY", Same, t.a.RotateY(t.Real(0.02), nullptr)),
    LML_PREPARED("RotateYFs", Documented, t.a.Form() = SPECTRUM, t.a.RotateYFs(t.Real(0.02), CUBIC_INTERPOL, t.Int(8, 4, 9), nullptr)),
    LML_PREPARED("Rotate1d", Same, t.a.SetNx(64).SetNy(1); t.a.Init(nullptr); t.a.Clear(), t.a.Rotate1d(t.Real(0.02))),
    // Point sources
    LML_OPERATION("AddSphericalWave", Same, t.a.AddSphericalWave(t.Place(1e-5, 0.0, -0.01), 0, t.Real(1.0), t.Choice(WINDOW_RECT, 0, 2))),
    LML_OPERATION("SetSphericalWave", Same, t.a.SetSphericalWave(t.Real(1e-5), t.Real(0.0), t.Real(-0.01), 1.0, t.Choice(WINDOW_TRIANGLE, 0, 2))),
    LML_OPERATION("AddSphericalWaveSqr", Same, const SphericalWaveDescriptor d(633e-9, 1e-5, 1e-5, t.Place(0.0, 0.0, 1.0)); t.a.AddSphericalWaveSqr(d, t.Real(1e-5), t.Real(0.0), t.Real(-0.01), 1.0, 0.0, t.Choice(WINDOW_RECT, 0, 2))),
    LML_OPERATION("AddSphericalWaveSQR", Same, t.a.InitSphericalWaveSQR(t.Place(0.0, 0.0, 1.0)); t.a.AddSphericalWaveSQR(t.Real(1e-5), t.Real(0.0), t.Real(-0.01), 1.0, 0.0, WINDOW_NONE)),
    LML_OPERATION("AddSphericalWaveRF", Same, t.a.InitSphericalWaveRF(t.Real(0.0), t.Real(0.0)); t.a.AddSphericalWaveRF(t.Real(1e-5), t.Real(0.0), t.Real(0.01), 1.0, 0.0, t.Choice(WINDOW_RECT, 0, 2))),
    LML_OPERATION("AddPointCloud by slabs", Same, CloudPoint p[3] = {}; for (CloudPoint& point : p) { point.amplitude = 1.0; point.x = t.Real(1e-5); point.z = t.Real(-0.01) - point.x; } CloudOptions how; how.method = t.Choice(CLOUD_SLABS, 0, 3); how.frame = CLOUD_LOCAL; t.a.AddPointCloud(p, 3, how)),
    LML_OPERATION("AddPointCloud by direct sums", Same, CloudPoint p[2] = {}; p[0].amplitude = p[1].amplitude = 1.0; p[0].x = t.Real(2e-5); p[0].z = t.Real(0.012); p[1].z = t.Real(-0.02); CloudOptions how; how.method = t.Choice(CLOUD_DIRECT, 0, 3); how.frame = CLOUD_LOCAL; t.a.AddPointCloud(p, 2, how)),
    LML_OPERATION("PlanPointCloud", Same, CloudPoint p[2] = {}; p[0].amplitude = p[1].amplitude = 1.0; p[0].z = t.Real(-0.01); CloudOptions how; how.tolerance = t.Real(1e-3); t.a.PlanPointCloud(p, 2, how)),
    // Values
    LML_OPERATION("PointArray", Same, PointArray p(0); for (int n = 0; n < 9; ++n) p.Insert(t.Place(n, n % 2, n % 3)); p.Insert(2, t.Place(1.0, 2.0, 3.0)); p.Remove(3); PointArray q(p); q.Remove(); p = q),
    LML_OPERATION("PointArray to a file", Same, PointArray p(0); for (int n = 0; n < 9; ++n) p.Insert(t.Place(n, n % 2, n % 3)); p.SaveAsCsv(t.Path("points"))),
    LML_OPERATION("RMatrix", Same, RMatrix r = RMatrix::RotationX(t.Real(0.1)) * RMatrix::RotationZ(t.Real(0.1)); r = r * r.GetInverse()),
    LML_OPERATION("TrigTable", Same, const TrigTable table(8u); table.Sin(t.Real(1.0)); table.CosR(t.Real(1.0))),
    LML_OPERATION("Printf", Same, Printf("%s", "")),
    // Files: savers, then loaders
    LML_OPERATION("SaveAsLw", Same, t.a.SaveAsLw(t.Path("lw"), nullptr)),
    LML_OPERATION("WinSaveAsLw", Same, t.a.WinSaveAsLw(t.Path("lw"), nullptr)),
    LML_OPERATION("SaveAsDE", Same, t.a.SaveAsDE(t.Path("de"))),
    LML_OPERATION("SaveAsCsv", Same, t.a.SaveAsCsv(t.Path("profile"), t.Choice(X_AXIS, 0, 1), t.Int(3, -1, 16))),
    LML_OPERATION("SaveAsText", Same, t.a.SaveAsText(t.Path("profile"), t.Int(3, -1, 16))),
    LML_OPERATION("SaveAsPTF", Same, t.a.SaveAsPTF(t.Path("profile"))),
    LML_OPERATION("SaveAsLm", Same, t.a.SaveAsLm(t.Path("lm"))),
    LML_OPERATION("WinSaveAsLm", Same, t.a.WinSaveAsLm(t.Path("lm"))),
    LML_OPERATION("CreateFileMpLm", Same, CreateFileMpLm(t.Path("mp"), static_cast<std::uint16_t>(t.Int(2, 0, 5)))),
    LML_OPERATION("SaveAsMpLm", Same, t.a.SaveAsMpLm(t.Path("mp"), static_cast<std::uint16_t>(t.Int(1, 0, 3)))),
    LML_OPERATION("SaveAsMpLm in place", Same, t.a.SaveAsMpLm(t.Path("mp"), static_cast<std::uint16_t>(t.Int(2, 0, 3)))),
    LML_OPERATION("CreateFileSegLm", Same, CreateFileSegLm(t.Path("seg"), static_cast<std::uint16_t>(t.Int(2, 0, 3)), static_cast<std::uint16_t>(t.Int(2, 0, 3)))),
    LML_OPERATION("SegmentedField", Documented, SegmentedField f(t.Path("seg"), SEGMENTED_UPDATE, MISSING_ZERO); f.Get(t.Int(3, 0, 8), t.Int(5, 0, 8), t.Int(8, 0, 8), t.Int(9, 0, 8), t.a); Lumora c(t.b); f.Put(t.Int(4, 0, 8), t.Int(4, 0, 8), c)),
    LML_OPERATION("LargeAsmProp in memory", Same, LargeOptions how; how.missing = MISSING_ZERO; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); LargeAsmProp(from, t.Path("far"), t.Real(1e-5), how)),
    LML_OPERATION("LargeAsmProp in sweeps", Same, LargeOptions how; how.missing = MISSING_ZERO; how.memory = 1; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); LargeAsmProp(from, t.Path("far"), t.Real(1e-5), how)),
    LML_OPERATION("LargeAsmProp in sweeps with a journal", Same, LargeOptions how; how.missing = MISSING_ZERO; how.memory = 1; how.resume = true; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); LargeAsmProp(from, t.Path("far"), t.Real(1e-5), how)),
    LML_OPERATION("LargeMultiply", Same, LargeOptions how; how.missing = MISSING_ZERO; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); LargeMultiply(from, from, t.Path("far"), how)),
    LML_OPERATION("LargeMeasure", Same, LargeOptions how; how.missing = MISSING_ZERO; LargeMeasure(t.Path("seg"), nullptr, how)),
    LML_OPERATION("LargePreview", Same, LargeOptions how; how.missing = MISSING_ZERO; LargePreview(t.Path("seg"), t.a, t.Int(3, 0, 16), t.Int(4, 0, 16), how)),
    LML_OPERATION("LargeSaveAsBmp", Same, LargeOptions how; how.missing = MISSING_ZERO; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); LargeSaveAsBmp(from, t.Path("far"), ModeIntensity, 0.0, t.Real(1.0), GradationGrey, how)),
    LML_OPERATION("LargeResample", Same, LargeOptions how; how.missing = MISSING_ZERO; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); { Lumora like(0, 0); like.SetPx(2e-5).SetPy(2e-5); like.SetOrigin(t.b.GetOrigin()); SegmentedField::Create(t.Path("far"), like, 1, 1, 8, 8); } LargeResample(from, t.Path("far"), LINEAR_INTERPOL, how)),
    LML_OPERATION("LargeAddPointCloud", Same, CloudPoint p = {}; p.x = t.Real(1e-5); p.z = t.Real(-0.01); p.amplitude = 1.0; LargeOptions how; how.missing = MISSING_ZERO; char from[512]; std::snprintf(from, sizeof from, "%s", t.Path("seg")); LargeAddPointCloud(from, t.Path("far"), &p, 1, CloudOptions(), how)),
    LML_OPERATION("SaveAsSegLm", Same, t.a.SaveAsSegLm(t.Path("seg"), static_cast<std::uint16_t>(t.Int(1, 0, 2)), static_cast<std::uint16_t>(t.Int(0, 0, 2)))),
    LML_OPERATION("SaveParamSegLm", Same, t.a.SaveParamSegLm(t.Path("seg"))),
    LML_OPERATION("SaveAsBmp", Same, t.a.SaveAsBmp(t.Path("bmp"), t.Choice(ModeIntensity, 0, 6), t.Choice(GradationRainbow, 0, 1), t.Int(3, 0, 20), t.Real(4.0), t.Real(0.0))),
    LML_OPERATION("WinSaveAsBmp", Same, t.a.WinSaveAsBmp(t.Path("bmp"), t.Choice(ModePhase, 0, 6), GradationGrey)),
    LML_OPERATION("SaveAsHBI", Same, t.a.SaveAsHBI(t.Path("hbi"), t.Choice(ModePhase, 0, 6), t.Real(0.0), t.Real(1.0), nullptr)),
    LML_OPERATION("SaveAsRAW", Same, t.a.SaveAsRAW(t.Path("raw"), t.Choice(ModePhase, 0, 6), t.Real(0.0), t.Real(1.0))),
    LML_OPERATION("WinSaveAsRAW", Same, t.a.WinSaveAsRAW(t.Path("raw"), t.Choice(ModeReal, 0, 6), t.Real(0.0), t.Real(1.0))),
    LML_OPERATION("SaveNpy", Same, t.a.SaveNpy(t.Path("npy"))),
    LML_OPERATION("WinSaveNpy", Same, t.a.WinSaveNpy(t.Path("npy"))),
    LML_OPERATION("SaveWhole", Same, SaveWhole(t.Path("lm"), [&](const char* name) { t.a.SaveAsLm(name); })),
    LML_OPERATION("UpdateWhole", Same, UpdateWhole(t.Path("mp"), [&](const char* name) { t.a.SaveAsMpLm(name, 2); })),
    LML_OPERATION("LoadLw", Documented, t.a.LoadLw(t.Path("lw"), nullptr)),
    LML_OPERATION("MultiplyFileLW", Documented, t.a.MultiplyFileLW(t.Path("lw"), nullptr)),
    LML_OPERATION("SuperimposeFileLW", Documented, t.a.SuperimposeFileLW(t.Path("lw"), nullptr)),
    LML_OPERATION("LoadDE", Documented, t.a.LoadDE(t.Path("de"))),
    LML_OPERATION("SuperimposeFileDE", Documented, t.a.SuperimposeFileDE(t.Path("de"))),
    LML_OPERATION("LoadCSV", Documented, t.a.LoadCSV(t.Path("csv"))),
    LML_OPERATION("LoadLm", Documented, t.a.LoadLm(t.Path("lm"))),
    LML_OPERATION("LoadMpLm", Documented, bool exists; t.a.LoadMpLm(t.Path("mp"), static_cast<std::uint16_t>(t.Int(2, 0, 3)), &exists)),
    LML_OPERATION("LoadParamMpLm", Documented, t.a.LoadParamMpLm(t.Path("mp"), static_cast<std::uint16_t>(t.Int(0, 0, 3)), nullptr); GetSizeMpLm(t.Path("mp"))),
    LML_OPERATION("LoadSegLm", Documented, bool exists; t.a.LoadSegLm(t.Path("seg"), static_cast<std::uint16_t>(t.Int(1, 0, 2)), static_cast<std::uint16_t>(t.Int(1, 0, 2)), &exists)),
    LML_OPERATION("LoadParamSegLm", Documented, t.a.LoadParamSegLm(t.Path("seg"), static_cast<std::uint16_t>(t.Int(0, 0, 2)), static_cast<std::uint16_t>(t.Int(0, 0, 2)), nullptr); int nx; int ny; GetSizeSegLm(t.Path("seg"), nx, ny)),
    LML_OPERATION("SavePointCloud", Same, CloudPoint p{}; p.x = t.Real(1.0); SavePointCloud(t.Path("saved.ply"), &p, 1)),
    LML_OPERATION("LoadPointCloud", Same, CloudLoadOptions how; how.density = t.Real(50.0); how.maxPoints = 1000; LoadPointCloud(t.Path("ply"), how)),
    LML_OPERATION("LoadNpy", Documented, t.a.LoadNpy(t.Path("npy"))),
    LML_OPERATION("LoadBmp", Documented, t.a.LoadBmp(t.Path("bmp"), t.Choice(ModeAmplitude, 0, 6), t.Value())),
    LML_OPERATION("LoadHBI", Documented, t.a.LoadHBI(t.Path("hbi"), t.Choice(ModeReal, 0, 6))),
#if defined(LML_TEST_PICTURES)
    LML_OPERATION("SavePicture", Same, PictureStyle s; s.quantity = t.Choice(PICTURE_DECIBEL, 0, 6); s.low = t.Real(0.0); s.high = t.Real(0.0); s.minSize = t.Int(16, 0, 64); s.title = "\xC2\xB5"; s.axes = s.colourBar = s.scaleBar = s.window = true; SavePicture(t.PathText("shown.png"), t.a, s)),
    LML_OPERATION("MakeProfileLine", Same, MakeProfileLine(t.a, t.Choice(X_AXIS, 0, 1), t.Int(3, -1, 8), t.Choice(PICTURE_REAL, 0, 6))),
    LML_PREPARED("SaveProfilePlot", Same, Lines().resize(1); Lines()[0].y.assign(3, 1.0), ProfileStyle s; s.width = 200; s.height = 150; s.yHigh = t.Real(0.0); SaveProfilePlot(t.PathText("plot.png"), Lines(), s)),
    LML_OPERATION("LoadPicture", Same, PictureLoadOptions how; how.width = t.Real(5e-5); how.phase = PICTURE_PHASE_RANDOM; LoadPicture(t.a, t.PathText("field.png"), how)),
#endif
};
// clang-format on
#undef LML_OPERATION
#undef LML_PREPARED
} // namespace lmltest

#endif
