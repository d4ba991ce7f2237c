// Every failure of the library in one table: code, operation, message, and a call that leads there.
// tests/error_sites.py compares the rows with the Error sites of the sources. For each row the description ends in a
// cure, and the field that was worked on stands unchanged, except where `changed` says why not.
#include "LmlAdvice.h"
#include "LmlLarge.h"
#include "TestTools.h"
#include "base/Texts.h"

#include <climits>
#include <cmath>
#include <limits>
#include <memory>

#include <unistd.h>

using namespace lmltest;
using namespace LumoraLib::detail;

namespace
{
struct Open : Lumora
{
    using Lumora::Lumora;
    using Lumora::PullForm;
    using Lumora::PushForm;
    using Lumora::SPW1d;
    Open(const Lumora& f) : Lumora(f) {}
    /// A stream that takes bytes and has no position.
    void SaveHeadIntoAPipe() const
    {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(fdopen(ends[1], "wb"), std::fclose);
        close(ends[0]);
        _LM_File record{};
        std::strcpy(record.path, "pipe");
        std::strcpy(record.function, "LumoraLib::Lumora::Own");
        record.stream = stream.get();
        SaveDataHeadLm(record);
    }
};

struct Descriptor : ScaledFftDescriptor
{
    using ScaledFftDescriptor::ScaledFftDescriptor;
    void Fill()
    {
        Dispose();
        _ScaledFftDescriptor(8, 8, 0.1, 0.1);
    }
};

constexpr char kNoSamples[] = "the grid has no samples yet: Init must come first";
constexpr char kParameter[] = "at least one parameter is different";
constexpr char kNormal[] = "normal vector of the destination is not same as the source";
constexpr char kWavelength[] = "the destination wavelength is different from the source";
constexpr char kBothReal[] = "both objects are in real space";
constexpr char kMustBeReal[] = "both objects must be in real space";
constexpr char kDescriptor[] = "descriptor is not compatible";
constexpr char kBadWindow[] = "designated WindowFunc is not implemented at this version. ";
constexpr char kKernel[] = "unsupported pixel kernel";
constexpr char kCosines[] = "CosA and CosB must be direction cosine";
constexpr char kReference[] = "the reference amplitude must be finite and not negative";
constexpr char kEpsilon[] = "out of range of epsilon";
constexpr char kUnusable[] = "unable to use in current version";
constexpr char kOneRow[] = "this object must be 1 dimensional";
constexpr char kScaledDescriptor[] = "ScaledFftDescriptor is not compatible";

constexpr double kOne = 1.0;
bool kAnyPlane(const Lumora&, std::size_t)
{
    return true;
}

// Files: relative names, so that messages are not cut. What is only known at run time fits any site.
const char* const kNowhere = "/nowhere/x";
const char* const kFull = "/dev/full";
const char* const kAbsent = "error_table.absent";
const char* const kOther = "error_table.other";
const char* const kLm = "error_table.lm";
const char* const kMulti = "error_table.mp";
const char* const kSegmented = "error_table.seg";
const char* const kFresh = "error_table.new";
const char* const kLw = "error_table.lw";
const char* const kDe = "error_table.de";
const char* const kBmp = "error_table.bmp";
const char* const kHbi = "error_table.hbi";
const char* const kNpy = "error_table.npy";
const char* const kPatched = "error_table.patched";

std::string ReadAll(const char* path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
const char* WriteAll(const char* path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}
/// A copy of the file with one byte changed; 0 bytes kept cut it there instead.
const char* Patched(const char* path, std::size_t at, char value)
{
    std::string bytes = ReadAll(path);
    bytes.at(at) = value;
    return WriteAll(kPatched, bytes);
}

/// A segmented file without segments, with the parameters of a field.
const char* SegmentFile(const Lumora& like, int sx, int sy, int nx, int ny)
{
    SegmentedField::Create(kPatched, like, static_cast<std::uint16_t>(sx), static_cast<std::uint16_t>(sy), nx, ny);
    return kPatched;
}
const LargeOptions kZeros = []
{
    LargeOptions zeros;
    zeros.missing = MISSING_ZERO;
    return zeros;
}();

/// Runs an operation under a handler that cancels at once.
void Cancelled(const std::function<void()>& operation)
{
    struct Unset
    {
        ~Unset() { SetProgressHandler(nullptr, nullptr); }
    } unset;
    SetProgressHandler([](void*, const char*, std::int64_t, std::int64_t) { return false; }, nullptr);
    operation();
}

/// The objects of one row, fresh for each.
struct Stage
{
    Stage()
    {
        for (Open* field : {&f, &g, &spectrum, &polar, &polarSpectrum, &row, &wide})
        {
            FillRandom(*field);
            field->SetWindow(0, 3, 0, 1);
        }
        spectrum.Form() = SPECTRUM;
        polar.Form() = POLAR_AMPLITUDE;
        polarSpectrum.Form() = POLAR_SPECTRUM;
        for (Open* field : {&f, &polar, &spectrum, &polarSpectrum})
            field->SetOrigin(Vector(0, 0, 1e-3));
    }

    static Open Field(int nx, int ny) { return Open(nx, ny, 2e-6, 2e-6, 500e-9); }
    Open f = Field(8, 8), g = Field(8, 8), spectrum = f, polar = f, polarSpectrum = f, row = Field(8, 1),
         wide = Field(16, 8);
    Open none = Field(8, 8), like = none; // no samples for its sizes, and a field of the same sizes
    RMatrix turn = RMatrix::CRotationY(0.1);
    OptionHead option;
    int nx = 0, ny = 0;

    Lumora& Changed(const std::function<void(Lumora&)>& change)
    {
        change(f);
        return f;
    }
    Open& OtherForm(Open& field)
    {
        field.Form() = SPECTRUM;
        return field;
    }
};

Open& OneRow(Stage& s)
{
    s.none.SetNy(1);
    s.none.Dispose();
    return s.none;
}
Open& Polar(Open& field)
{
    field.Form() = POLAR_AMPLITUDE;
    return field;
}

/// Runs the call while the stack of forms, which all fields share, has no place left.
void FullStack(Open& field, const std::function<void()>& call)
{
    struct Pulls
    {
        Open& field;
        int count = 0;
        ~Pulls()
        {
            while (count-- > 0)
                field.PullForm();
        }
    } pulls{field};
    for (; pulls.count < 20; ++pulls.count)
        field.PushForm();
    call();
}

// In the plane of fields at the origin.
const CloudPoint kFarCloud[] = {{0, 0, 1e300, 1, 0}};
const CloudPoint kCloud[] = {{0, 0, 0, 1, 0}, {0, 0, -1e-3, 1, 0}};
const CloudPoint kBadCloud[] = {{0, 0, 5e-3, 1, 0}, {0, 0, 5e-3, NAN, 0}};

struct Row
{
    int code; // 0: accepted, the twin of a refusal
    const char* function;
    const char* message;
    std::function<void(Stage&)> call;
    const char* changed = nullptr; // what is different after the failure, and why
};
#define CALL(...)                                                                                                      \
    [](Stage& s)                                                                                                       \
    {                                                                                                                  \
        static_cast<void>(s);                                                                                          \
        __VA_ARGS__;                                                                                                   \
    }

std::string FullName(const char* function)
{
    return *function == 'e' ? function : std::string("LumoraLib::") + function;
}

void Expect(const Row& row, Stage& stage)
{
    const std::string name = std::string(row.function) + ", " + row.message;
    Lumora* const fields[] = {&stage.f, &stage.g, &stage.spectrum, &stage.polar, &stage.polarSpectrum, &stage.row};
    const std::vector<Open> before = {stage.f, stage.g, stage.spectrum, stage.polar, stage.polarSpectrum, stage.row};
    Failure failure;
    std::string description, what;
    SetErrorHandling(ERROR_HANDLING_THROW);
    try
    {
        row.call(stage);
    }
    catch (const LumoraException& e)
    {
        failure = {e.GetErrorCode(), e.GetFuncname(), e.GetUserMessage()};
        description = DescribeError(e);
        what = e.what();
    }
    SetErrorHandling(ERROR_HANDLING_EXIT);
    EXPECT_EQ(failure.code, row.code) << name << ": " << what;
    if (row.code == 0)
        return;
    EXPECT_EQ(failure.function, FullName(row.function)) << name;
    // The messages of containers stand behind the path.
    const std::string& message = failure.message;
    const std::string behind = std::string(" : ") + row.message;
    const bool standsBehind =
        message.size() > behind.size() && message.substr(message.size() - behind.size()) == behind;
    EXPECT_EQ(standsBehind ? row.message : message, row.message) << name;
    EXPECT_EQ(description.rfind(what + ". ", 0), 0u) << description;
    EXPECT_GT(description.size(), what.size() + 20) << name << ": a cure";
    if (const char* const page = std::getenv("LML_ERRORS_PAGE")) // for tools/make_errors.py
        std::ofstream(page, std::ios::app) << row.code << '\t' << FullName(row.function) << '\t' << what << '\t'
                                           << description.substr(what.size() + 2) << '\n';
    for (std::size_t n = 0; row.changed == nullptr && n < before.size(); ++n)
    {
        Lumora& after = *fields[n];
        Lumora was = before[n];
        EXPECT_TRUE(SameBits(after, was)) << name;
        EXPECT_EQ(after.Form(), was.Form()) << name;
        EXPECT_TRUE(after.GetPx() == was.GetPx() || std::isnan(was.GetPx())) << name;
        EXPECT_TRUE(after.GetOrigin() == was.GetOrigin() && after.GetNormalVector() == was.GetNormalVector()) << name;
        EXPECT_EQ(after.Window().right, was.Window().right) << name;
    }
}

const char kCartesian[] = "kept: a polar field that is refused for its domain is cartesian already";
const char kPrepared[] = "the row itself changes the field";

// clang-format off
const Row kRows[] = {
    // ---- values, points, threads
    {3, "SetNumThreads", "", CALL(SetNumThreads(0))},
    {6, "PopNumThreads", "Stack size under", CALL(PopNumThreads())},
    {6, "PullNumThreads", "Stack size under", CALL(PullNumThreads())},
    {6, "PushNumThreads", "Stack size over",
     [](Stage&)
     {
         struct Pops
         {
             int count = 0;
             ~Pops() { while (count-- > 0) PopNumThreads(); }
         } pops;
         for (; pops.count < 40; ++pops.count)
             PushNumThreads(1);
     }},
    {2, "Start", kNowhere, CALL(Start(0, kNowhere))},
    {1, "Malloc", "demanded bytes = -1 : label", CALL(Malloc(std::numeric_limits<std::size_t>::max(), "label"))},
    {3, "SqrMatrix::operator*", "", CALL(SqrMatrix(2) * SqrMatrix(3))},
    {3, "RMatrix::Copy", "", CALL(RMatrix().Copy(SqrMatrix(2)))},
    {3, "Plane::Plane", "number of point is not enough", CALL(Plane(PointArray(2)))},
    {3, "PointArray::GetPlane", "number of point is not enough", CALL(PointArray(2).GetPlane())},
    {6, "Plane::GetX", "the plane is parallel to x-axis", CALL(Plane::XY().GetX(0, 0))},
    {6, "Plane::GetY", "the plane is parallel to y-axis", CALL(Plane::XY().GetY(0, 0))},
    {6, "Plane::GetZ", "the plane is parallel to z-axis", CALL(Plane::YZ().GetZ(0, 0))},
    {6, "Plane::GetIntersectionLine", "argumented plane is parallel to this plane", CALL(Plane::XY().GetIntersectionLine(Plane::XY()))},
    {6, "Plane::GetIntersectionPoint", "the line is parallel to the plane",
     CALL(Plane::XY().GetIntersectionPoint(Line(Vector(0, 0, 1), Vector(1, 0, 0))))},
    {6, "Line::GetIntersectionPoint", "the line is parallel to the plane",
     CALL(Line(Vector(0, 0, 1), Vector(1, 0, 0)).GetIntersectionPoint(Plane::XY()))},
    {3, "PointArray::At", "out of range", CALL(PointArray(2).At(2))},
    {3, "PointArray::At", "out of range", CALL(PointArray(9).At(-1))},
    {3, "PointArray::operator[]", "out of range", CALL(PointArray(2)[2])},
    {3, "PointArray::operator[]", "out of range", CALL(PointArray(9)[INT_MIN])},
    {3, "PointArray::GetPoint", "out of range", CALL(PointArray(0).GetPoint(0))},
    {3, "PointArray::GetPoint", "out of range", CALL(PointArray(4).GetPoint(-1))},
    {3, "PointArray::SetPoint", "index is out of range", CALL(PointArray(3).SetPoint(3, Vector()))},
    {0, "PointArray::SetPoint", "", CALL(PointArray(3).SetPoint(-1, Vector()))},
    {3, "PointArray::Insert", "index is out of range", CALL(PointArray(3).Insert(4, Vector()))},
    {3, "PointArray::Insert", "index is out of range", CALL(PointArray(3).Insert(-1, Vector()))},
    {3, "PointArray::Remove", "index is out of range", CALL(PointArray(3).Remove(3))},
    {6, "PointArray::GetCenter", "no point in the object", CALL(PointArray(0).GetCenter())},
    {6, "PointArray::GetBoundingBox", "no point in the object", CALL(PointArray(0).GetBoundingBox())},
    {6, "PointArray::GetWidth", "no point in the object", CALL(PointArray(0).GetWidth())},
    {6, "PointArray::GetHeight", "no point in the object", CALL(PointArray(0).GetHeight())},
    {6, "PointArray::GetDepth", "no point in the object", CALL(PointArray(0).GetDepth())},
    {2, "PointArray::SaveAsCsv", "", CALL(PointArray(1).SaveAsCsv(nullptr))},
    {2, "PointArray::SaveAsCsv", kNowhere, CALL(PointArray(1).SaveAsCsv(kNowhere))},
    {4, "ewrite", kFull, CALL(PointArray(1).SaveAsCsv(kFull))},
    // ---- the life of a field, arithmetic, windows
    {1, "Lumora::Init", "User-Defined buffer is too small",
     CALL(Complex mine[4]; Lumora f(0, 0); f.SetNx(2).SetNy(2).Init(mine); f.SetNx(8).Init(nullptr))},
    {1, "Lumora::Init", "Memory allocation failed : Demanded bytes = 9223372036854775807", CALL(Lumora(1 << 30, 1 << 30))},
    {6, "Lumora::PullForm", "Stack size under", CALL(s.f.PullForm())},
    {6, "Lumora::PushForm", "Stack size over", CALL(FullStack(s.f, [&] { s.f.PushForm(); }))},
    {6, "Lumora::PushForm", "Stack size over", CALL(FullStack(s.f, [&] { s.f.HardClipAmplitude(4); }))},
    {6, "Lumora::PushForm", "Stack size over", CALL(FullStack(s.f, [&] { s.f.PartialClipAmplitude(4, 0.1); }))},
    {3, "Lumora::SetWindow", "", CALL(s.f.SetWindow(0, 9, 0, 8))},
    {3, "Lumora::SetWindow", "", CALL(s.f.SetWindow(LML_RECT(-1, 8, 8, 0)))},
    {3, "Lumora::operator+=", "", CALL(s.f += s.wide)},
    {3, "Lumora::operator-=", "", CALL(s.f -= s.wide)},
    {3, "Lumora::operator*=", "", CALL(s.f *= s.row)},
    {3, "Lumora::operator/=", "", CALL(s.f /= s.row)},
    {3, "Lumora::ImageRotation", "", CALL(s.f.ImageRotation(0))},
    {3, "Lumora::ImageRotation", "", CALL(s.f.ImageRotation(4))},
    {3, "Lumora::Embed", "", CALL(s.f.Embed(-1))},
    {3, "Lumora::Embed", "", CALL(s.f.Embed(0, INT_MIN))},
    {3, "Lumora::Embed", "", CALL(s.f.Embed(-1, 0))},
    {1, "Lumora::Init", "Memory allocation failed : Demanded bytes = 9223372036854775807", CALL(s.f.Embed(30))},
    {1, "Lumora::Init", "Memory allocation failed : Demanded bytes = 9223372036854775807", CALL(s.f.Embed(INT_MAX, INT_MAX))},
    {3, "Lumora::Extract", "", CALL(s.f.Extract(-1))},
    {3, "Lumora::Extract", "", CALL(s.f.Extract(4))},
    {3, "Lumora::Extract", "", CALL(s.f.Extract(INT_MAX))},
    // ---- interpolation, two fields on one plane
    {6, "GetInterpolFunc", kUnusable, CALL(GetInterpolFunc(Interpol(0)))},
    {6, "GetInterpolFunc", kUnusable, CALL(GetInterpolFunc(Interpol(INT_MIN)))},
    {6, "GetInterpolFunc", kUnusable, CALL(s.f.GetInterpolVal(0, 0, SINC_INTERPOL))},
    {3, "Lumora::CubicInterpol", kKernel, CALL(s.f.CubicInterpol(0, 0, 5))},
    {3, "Lumora::CubicInterpolX", kKernel, CALL(s.f.CubicInterpolX(0, 0, -4))},
    {3, "Lumora::CubicInterpolX", kKernel, CALL(Lumora(s.spectrum).RotateYFs(0.1, CUBIC_INTERPOL, 5, nullptr))},
    {3, "Lumora::LinearInterpol1d", "", CALL(s.f.LinearInterpol1d(0))},
    {3, "Lumora::CubicInterpol1d", "", CALL(s.f.CubicInterpol1d(0, 4))},
    {3, "Lumora::SincInterpol1d", "", CALL(s.f.SincInterpol1d(0))},
    {3, "Lumora::GetFrame", "n must be positive value", CALL(s.f.GetFrame(-1))},
    {3, "Lumora::GetFrame", "n must be positive value", CALL(s.f.GetFrame(29))},
    {3, "Lumora::ResamplingCopy", kTextOtherPlane, CALL(s.f.ResamplingCopy(s.g, LINEAR_INTERPOL))},
    {3, "Lumora::ResamplingAdd", kTextOtherPlane, CALL(s.f.ResamplingAdd(s.g, LINEAR_INTERPOL))},
    {3, "Lumora::ResamplingMultiply", kTextOtherPlane, CALL(s.f.ResamplingMultiply(s.g, LINEAR_INTERPOL))},
    {3, "Lumora::Add", kTextOtherPlane, CALL(s.f.Add(s.g))},
    {3, "Lumora::Add", kTextOtherPlane, CALL(s.row.Add(Lumora(s.g.SetNormalVector(Vector(0.01, 0, 1))))), kPrepared},
    {3, "Lumora::Multiply", kTextOtherPlane, CALL(s.f.Multiply(s.g))},
    {3, "Lumora::Add", kTextOtherPitch, CALL(s.row.Add(s.g.SetPx(2.004e-6))), kPrepared},
    {3, "Lumora::Add", kTextOtherPitch, CALL(s.row.Add(s.g.SetPy(1.996e-6))), kPrepared},
    {3, "Lumora::Multiply", kTextOtherPitch, CALL(s.row.Multiply(s.g.SetPx(1.996e-6))), kPrepared},
    {0, "Lumora::Add", "", CALL(s.row.Add(s.g.SetPx(2.001e-6).SetPy(1.999e-6)))},
    {0, "Lumora::ResamplingAdd", "", CALL(s.row.ResamplingAdd(s.g.SetPx(3e-6), LINEAR_INTERPOL))},
    {6, "ScaledFftDescriptor::_ScaledFftDescriptor", kNoSamples, CALL(Descriptor(8, 8, 0.1, 0.1).Fill())},
    // ---- measures, synthesis, sizes, phases
    {3, "Lumora::GetSnr", "Window size", CALL(s.f.GetSnr(s.g.SetWindow(0, 3, 0, 2), 1.0)), kPrepared},
    {3, "Lumora::GetSnr", "Window size", CALL(s.f.GetSNR(s.g.SetWindow(0, 2, 0, 1), 1.0)), kPrepared},
    {3, "Lumora::GetScaleFactor", "Window size", CALL(s.f.GetScaleFactor(s.g.SetWindow(0, 2, 0, 1))), kPrepared},
    {7, "Lumora::GetEnergyRatioInWindow", "", CALL(s.polar.GetEnergyRatioInWindow())},
    {7, "Lumora::GetOverlapFactor", "", CALL(s.polar.GetOverlapFactor(s.f))},
    {0, "Lumora::GetOverlapFactor", "", CALL(s.polarSpectrum.GetOverlapFactor(s.f))},
    {3, "Lumora::SetPlaneWave", kCosines, CALL(s.f.SetPlaneWave(1.1, 0, Phase(0)))},
    {3, "Lumora::SetPlaneWave", kCosines, CALL(s.f.SetPlaneWave(0.8, 0.7, Phase(0)))},
    {3, "Lumora::MultiplyPlaneWave", kCosines, CALL(s.f.MultiplyPlaneWave(0, -1.1, Phase(0)))},
    {3, "Lumora::MultiplyPlaneWave", kCosines, CALL(s.f.MultiplyPlaneWave(0, std::nan(""), Phase(0)))},
    {0, "Lumora::SetPlaneWave", "", CALL(s.f.SetPlaneWave(-0.6, 0.8, Phase(0)))},
    {3, "Lumora::ReduceByAverage", "", CALL(s.f.ReduceByAverage(-1))},
    {3, "Lumora::ReduceByAverage", "", CALL(s.f.ReduceByAverage(3))},
    {3, "Lumora::ReduceByAverage", "", CALL(s.f.ReduceByAverage(INT_MIN, 0))},
    {3, "Lumora::ReduceByAverage", "", CALL(s.f.ReduceByAverage(0, 31))},
    {3, "Lumora::Replicate", "", CALL(s.f.Replicate(-1))},
    {3, "Lumora::Pixelation", "", CALL(s.f.Pixelation(-1))},
    {3, "Lumora::Pixelation", "", CALL(s.f.Subdivide(INT_MIN))},
    {3, "Lumora::EnlargeZeroFill", "", CALL(s.f.EnlargeZeroFill(-1))},
    {1, "Lumora::Init", "Memory allocation failed : Demanded bytes = 9223372036854775807", CALL(s.f.Replicate(31))},
    {1, "Lumora::Init", "Memory allocation failed : Demanded bytes = 9223372036854775807", CALL(s.f.Pixelation(30))},
    {1, "Lumora::Init", "Memory allocation failed : Demanded bytes = 9223372036854775807", CALL(s.f.EnlargeZeroFill(31))},
    {3, "Lumora::PaintTriangle", "", CALL(s.f.PaintTriangle(PointArray(2), Complex()))},
    {3, "Lumora::PartialClipAmplitude", kEpsilon, CALL(s.f.PartialClipAmplitude(4, 0.50002))},
    {3, "Lumora::PartialClipPhase", kEpsilon, CALL(s.f.PartialClipPhase(4, -1e-9))},
    {0, "Lumora::PartialClipPhase", "", CALL(s.f.PartialClipAmplitude(1, 7.0).PartialClipPhase(0, 7.0))},
    {3, "Lumora::SetRandomPhase", "", CALL(s.spectrum.SetRandomPhase())},
    {3, "Lumora::EncodeDoublePhase", kReference, CALL(s.f.EncodeDoublePhase(-1.0))},
    {3, "Lumora::EncodeErrorDiffusion", kReference, CALL(s.f.EncodeErrorDiffusion(0, INFINITY))},
    {3, "Lumora::EncodeErrorDiffusion", "levels must be 0 or from 2 to 65536", CALL(s.f.EncodeErrorDiffusion(1))},
    {6, "Lumora::EncodeErrorDiffusion", "cancelled", CALL(Cancelled([&] { s.f.EncodeErrorDiffusion(); })), kPrepared},
    {3, "Lumora::ReplaceAmplitude", "sizes differ", CALL(s.f.ReplaceAmplitude(s.wide))},
    {3, "Lumora::RetrievePhase", "sizes differ", CALL(s.f.RetrievePhase(s.wide, {}))},
    {3, "Lumora::RetrievePhase", "iterations, feedback or distance out of range",
     CALL(PhaseRetrieval how; how.feedback = 1.5; s.f.RetrievePhase(s.f, how))},
    {3, "Lumora::RetrievePhase", "forward and back must be given together",
     CALL(PhaseRetrieval how; how.back = [](Lumora&) {}; s.f.RetrievePhase(s.f, how))},
    {3, "Lumora::ModRandomPhase", "", CALL(s.spectrum.ModRandomPhase())},
    // ---- transforms and propagation
    {6, "Lumora::Normalize", "the grid is empty: give both Nx and Ny a size", CALL(s.wide.SetNx(0).SetNy(INT_MAX).Normalize(1))},
    {6, "Lumora::ShiftedAsmProp", "an axis is longer than a transform takes (2^29 samples)", CALL(s.f.ShiftedAsmProp(s.g, 31))},
    {6, "Lumora::ShiftedAsmProp", "an axis is longer than a transform takes (2^29 samples)", CALL(s.f.ShiftedAsmProp(s.g, 33))},
    {6, "Lumora::Fft", kNoSamples, CALL(s.wide.SetNx(3).Fft(-1))}, // sizes that fit the buffer and no transform
    {3, "Lumora::Fft", "FFT mode", CALL(s.polar.Fft(2)), "kept: converted and flipped before the sign is looked at"},
    {3, "Lumora::RawScaledFft1d", "", CALL(s.f.RawScaledFft1d(1))},
    {3, "Lumora::ScaledFft1d", kOneRow, CALL(s.f.ScaledFft1d(1))},
    {3, "Lumora::ScaledFft1d", kOneRow, CALL(Stage::Field(1, 8).Clear().ScaledFft(1, 1))},
    {6, "Lumora::RawScaledFft", kScaledDescriptor, CALL(s.f.RawScaledFft(ScaledFftDescriptor(16, 8, 0.1, 0.1)))},
    {6, "Lumora::RawScaledFft", kScaledDescriptor, CALL(s.f.RawScaledFft(ScaledFftDescriptor(8, 8, std::nan(""), 0.1)))},
    {8, "Lumora::AsmProp", ": AsmProp", CALL(s.spectrum.AsmProp(1))},
    {8, "Lumora::AsmProp", ": AsmProp", CALL(s.polarSpectrum.SPWProp(1))},
    {8, "Lumora::RawAsmProp", ": RawAsmProp", CALL(s.spectrum.RawAsmProp(1))},
    {8, "Lumora::ExactAsmProp", ": ExactAsmProp", CALL(s.polarSpectrum.ExactAsmProp(1))},
    {8, "Lumora::PropagateStack", ": PropagateStack", CALL(s.spectrum.PropagateStack(&kOne, 1, kAnyPlane))},
    {3, "Lumora::PropagateStack", "no distances, or no function for the planes", CALL(s.f.PropagateStack(nullptr, 1, kAnyPlane))},
    {3, "Lumora::PropagateStack", "no distances, or no function for the planes", CALL(s.f.PropagateStack(&kOne, 1, nullptr))},
    {3, "Lumora::PropagateStack", "no such propagator", CALL(s.f.MeasureStack(&kOne, 1, FOCUS_TAMURA, StackPropagator(2)))},
    {3, "Lumora::PropagateStack", "no such measure", CALL(s.f.MeasureStack(&kOne, 1, FocusMeasure(6)))},
    {1, "Lumora::PropagateStack", "not enough memory for the measures", CALL(s.f.MeasureStack(&kOne, SIZE_MAX, FOCUS_TAMURA))},
    {3, "Lumora::GetFocusMeasure", "no such measure", CALL(s.f.GetFocusMeasure(FocusMeasure(-1)))},
    {8, "Lumora::AsmPropFs", "", CALL(s.f.AsmPropFs(1))},
    {8, "Lumora::AsmPropFs", "", CALL(s.polar.AsmPropFs(1)), kCartesian},
    {8, "Lumora::RawAsmPropFs", "", CALL(s.polar.RawAsmPropFs(1)), kCartesian},
    {8, "Lumora::FresnelProp", "p", CALL(s.spectrum.FresnelProp(1))},
    {8, "Lumora::FourierProp", "", CALL(s.polarSpectrum.FourierProp(1))},
    {8, "Lumora::BackFourierProp", "", CALL(s.spectrum.BackFourierProp(1))},
    {8, "Lumora::_Old_SPWProp", "", CALL(s.spectrum._Old_SPWProp(1))},
    {8, "Lumora::SPWPropFsTbl", "", CALL(s.f.SPWPropFsTbl(1, TrigTable(4)))},
    {6, "Lumora::ShiftedAsmProp", kMustBeReal, CALL(s.spectrum.ShiftedAsmProp(s.wide, 0))},
    {6, "Lumora::ShiftedAsmProp", kMustBeReal, CALL(s.f.ShiftedAsmProp(s.polarSpectrum, 1))},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.f.ShiftedAsmProp(s.wide, 0))},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.f.ShiftedAsmProp(s.g.SetPy(2.0000001e-6), 1)), kPrepared},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.f.ShiftedAsmProp(s.g.SetWavelength(6e-7), 1)), kPrepared},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.g.SetPx(std::nan("")); s.g.ShiftedAsmProp(Lumora(s.g), 1)), kPrepared},
    {3, "Lumora::ShiftedAsmProp", kNormal, CALL(s.f.ShiftedAsmProp(s.g.SetNormalVector(Vector(1e-5, 0, 1)), 0)), kPrepared},
    {3, "Lumora::ShiftedAsmProp", "precision must be more than zero", CALL(s.f.ShiftedAsmProp(s.g, 0))},
    {3, "Lumora::ShiftedAsmProp", "precision must be more than zero", CALL(s.f.ShiftedAsmPropAdd(s.g, -3))},
    {6, "Lumora::ShiftedAsmPropAdd", kBothReal, CALL(s.spectrum.ShiftedAsmPropAdd(s.wide, 1))},
    {3, "Lumora::ShiftedAsmPropAdd", kParameter, CALL(s.f.ShiftedAsmPropAdd(s.wide, 1))},
    {3, "Lumora::ShiftedAsmPropAdd", kNormal, CALL(s.f.ShiftedAsmPropAdd(s.g.SetNormalVector(Vector(1e-5, 0, 1)), 0)), kPrepared},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.f.ShiftedAsmPropAdd(s.g.SetPx(3e-6), 1)), kPrepared},
    {6, "Lumora::ShiftedAsmPropAddEx", kMustBeReal, CALL(s.f.ShiftedAsmPropAddEx(s.spectrum))},
    {6, "Lumora::ShiftedAsmPropAddEx", kMustBeReal, CALL(s.spectrum.ShiftedAsmPropEx(s.f))},
    {3, "Lumora::ShiftedAsmPropAddEx", kWavelength, CALL(s.f.ShiftedAsmPropEx(s.g.SetWavelength(6e-7))), kPrepared},
    {3, "Lumora::ShiftedAsmPropAddEx", kNormal, CALL(s.f.ShiftedAsmPropEx(s.wide.SetNormalVector(Vector(1e-5, 0, 1))))},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.f.ShiftedAsmPropEx(s.wide.SetPx(3e-6)))},
    {3, "Lumora::ShiftedAsmProp", kParameter, CALL(s.f.ShiftedAsmPropAddEx(s.wide.SetPx(3e-6)))},
    {6, "Lumora::ShiftedFresnelProp", kBothReal, CALL(s.spectrum.ShiftedFresnelProp(s.wide))},
    {3, "Lumora::ShiftedFresnelProp", kParameter, CALL(s.f.ShiftedFresnelProp(s.wide))},
    {3, "Lumora::ShiftedFresnelProp", kParameter, CALL(s.f.ShiftedFresnelProp(s.row))},
    {3, "Lumora::ShiftedFresnelProp", kNormal, CALL(s.f.ShiftedFresnelProp(s.g.SetNormalVector(Vector(1e-5, 0, 1)))), kPrepared},
    {6, "Lumora::ShiftedFresnelProp", kDescriptor, CALL(s.f.ShiftedFresnelProp(s.g, ShiftedFresnelPropDescriptor(2e-3, 2e-6, 2e-6, s.g)))},
    {6, "Lumora::ShiftedFresnelPropAdd", kDescriptor, CALL(s.f.ShiftedFresnelPropAdd(s.g, ShiftedFresnelPropDescriptor(2e-3, 2e-6, 2e-6, s.g)))},
    {6, "Lumora::ShiftedFresnelPropAdd", kBothReal, CALL(s.spectrum.ShiftedFresnelPropAdd(s.g, ShiftedFresnelPropDescriptor(1e-3, 2e-6, 2e-6, s.g)))},
    {3, "Lumora::ShiftedFresnelPropAdd", kParameter, CALL(s.f.ShiftedFresnelPropAdd(s.wide, ShiftedFresnelPropDescriptor(1e-3, 2e-6, 2e-6, s.g)))},
    {3, "Lumora::ShiftedFresnelPropAdd", kNormal,
     CALL(s.f.ShiftedFresnelPropAdd(s.g.SetNormalVector(Vector(1e-5, 0, 1)), ShiftedFresnelPropDescriptor(1e-3, 2e-6, 2e-6, s.g))), kPrepared},
    {6, "Lumora::ShiftedFresnelProp", "object is in real space", CALL(s.spectrum.ShiftedFresnelProp(Vector(0, 0, 1), 1e-6, 1e-6))},
    {6, "Lumora::ShiftedFresnelProp", "object is in real space",
     CALL(s.spectrum.ShiftedFresnelProp(Vector(0, 0, 1), 1e-6, 1e-6, ShiftedFresnelPropDescriptor(1e-3, 2e-6, 2e-6, s.g)))},
    {6, "Lumora::ShiftedFresnelProp", kDescriptor,
     CALL(s.f.ShiftedFresnelProp(Vector(0, 0, 1), 1e-6, 1e-6, ShiftedFresnelPropDescriptor(1e-3, 2e-6, 2e-6, s.g)))},
    {6, "Lumora::ShiftedFresnelPropAddEx", kMustBeReal, CALL(s.f.ShiftedFresnelPropEx(s.spectrum))},
    {3, "Lumora::ShiftedFresnelPropAddEx", kWavelength, CALL(s.f.ShiftedFresnelPropAddEx(s.wide.SetWavelength(6e-7)))},
    {3, "Lumora::ShiftedFresnelPropAddEx", kNormal, CALL(s.f.ShiftedFresnelPropEx(s.wide.SetNormalVector(Vector(1e-5, 0, 1))))},
    {3, "Lumora::ShiftedFresnelProp1d", "", CALL(s.f.ShiftedFresnelProp1d(s.row))},
    {3, "Lumora::ShiftedFresnelProp1d", "", CALL(s.row.ShiftedFresnelProp1d(s.f))},
    {3, "Lumora::ShiftedFresnelProp1d", kTextOtherNormal,
     CALL(s.row.ShiftedFresnelProp1d(Lumora(s.row).SetNormalVector(Vector(1e-5, 0, 1))))},
    {8, "Lumora::Rotate", "this object must be in real space", CALL(s.spectrum.Rotate(s.f, s.turn, nullptr, CUBIC_INTERPOL, false))},
    {3, "Lumora::Rotate", "source must be in real space", CALL(s.f.Rotate(s.spectrum, s.turn, nullptr, CUBIC_INTERPOL, false))},
    {6, "GetInterpolFunc", kUnusable, CALL(s.f.Rotate(s.g, s.turn, nullptr, Interpol(0), false)),
     "kept: origin and normal vector are the source's by then"},
    {8, "Lumora::RotateFs", "this object must be in Fourier space", CALL(s.f.RotateFs(s.f, s.turn, nullptr, CUBIC_INTERPOL, false))},
    {3, "Lumora::RotateFs", "source must be in Fourier space", CALL(s.spectrum.RotateFs(s.f, s.turn, nullptr, CUBIC_INTERPOL, false))},
    {6, "GetInterpolFunc", kUnusable, CALL(s.spectrum.RotateFs(s.polarSpectrum, s.turn, nullptr, Interpol(6), false)),
     "kept: origin and normal vector are the source's by then"},
    {8, "Lumora::GetRotationFs", "*this must be in Fourier space", CALL(s.f.GetRotationFs(s.g, s.turn))},
    {3, "Lumora::GetRotationFs", "refPlane must be in Fourier space", CALL(s.spectrum.GetRotationFs(s.f, s.turn))},
    {8, "Lumora::GetRotationParaFs", "*this must be in Fourier space", CALL(s.f.GetRotationParaFs(s.g))},
    {3, "Lumora::GetRotationParaFs", "dest must be in Fourier space", CALL(s.spectrum.GetRotationParaFs(s.f))},
    {8, "Lumora::RotateY", ": RotateY", CALL(s.polarSpectrum.RotateY(0.1, nullptr))},
    {7, "Lumora::RotateY", ": RotateY", CALL(s.polar.RotateY(0.1, nullptr))},
    {3, "Lumora::RotateYFs", "", CALL(s.polarSpectrum.RotateYFs(0.1, CUBIC_INTERPOL, 8, nullptr))},
    {3, "Lumora::RotateSpec1d", "", CALL(s.spectrum.RotateSpec1d(0.1, CUBIC_INTERPOL, 8))},
    {3, "Lumora::RotateSpec1d", "", CALL(s.row.RotateSpec1d(0.1, CUBIC_INTERPOL, 8))},
    {3, "Lumora::Rotate1d", "", CALL(s.f.Rotate1d(0.1))},
    {3, "Lumora::Rotate1d", "", CALL(s.OtherForm(s.row).Rotate1d(0.1)), kPrepared},
    // ---- point sources
    {3, "Lumora::AddSphericalWave", ":incorrect form", CALL(s.polar.AddSphericalWave(Vector(0, 0, 1e-3), Phase(0), 1, WINDOW_NONE))},
    {3, "Lumora::AddSphericalWave", ":incorrect form", CALL(s.spectrum.AddSphericalWave(0, 0, 1e-3, 1, WINDOW_RECT))},
    {6, "Lumora::AddSphericalWave", kBadWindow, CALL(s.f.AddSphericalWave(Vector(0, 0, 1e-3), Phase(0), 1, WINDOW_NONE))},
    {6, "Lumora::AddSphericalWave", kBadWindow, CALL(s.f.AddSphericalWave(0, 0, 1e-3, 1, WindowFunc(-1)))},
    {6, "Lumora::SetSphericalWave", kBadWindow, CALL(s.polar.SetSphericalWave(0, 0, 1e-3, 1, WindowFunc(1 << 30)))},
    {3, "Lumora::AddSphericalWaveSqr", "incorrect form",
     CALL(s.spectrum.AddSphericalWaveSqr({6e-7, 1e-6, 1e-6, Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_COSINE))},
    {6, "Lumora::AddSphericalWaveSqr", "Dscriptor error",
     CALL(s.f.AddSphericalWaveSqr({500e-9, 2e-6, 3e-6, Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_RECT))},
    {6, "Lumora::AddSphericalWaveSqr", "Dscriptor error",
     CALL(s.f.AddSphericalWaveSqr({501e-9, 2e-6, 2e-6, Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_RECT))},
    {0, "Lumora::AddSphericalWaveSqr", "", // Py is not looked at
     CALL(s.f.SetPy(3e-6).AddSphericalWaveSqr({s.f.GetWavelength(), 2e-6, 2e-6, Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_RECT))},
    {6, "Lumora::AddSphericalWaveSqr", kBadWindow,
     CALL(s.f.AddSphericalWaveSqr({s.f.GetWavelength(), 2e-6, 2e-6, Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_TRIANGLE))},
    {3, "Lumora::AddSphericalWaveSQR", "incorrect form", CALL(s.polar.AddSphericalWaveSQR(0, 0, 1e-3, 1, 0, WINDOW_RECT))},
    {6, "Lumora::AddSphericalWaveSQR", kBadWindow, CALL(s.f.AddSphericalWaveSQR(0, 0, 1e-3, 1, 0, WindowFunc(-7)))},
    {3, "Lumora::AddSphericalWaveRF", "incorrect form", CALL(s.polar.AddSphericalWaveRF(0, 0, 1e-3, 1, 0, WINDOW_RECT))},
    {6, "Lumora::AddSphericalWaveRF", kBadWindow, CALL(s.f.AddSphericalWaveRF(0, 0, 1e-3, 1, 0, WINDOW_TRIANGLE))},
    // ---- adviser
    {8, "Advise", "the source is a spectrum", CALL(Advise(s.spectrum, s.f))},
    {3, "Advise", "the destination is a spectrum", CALL(Advise(s.f, s.polarSpectrum))},
    {3, "Advise", kWavelength, CALL(Advise(s.f, s.g.SetWavelength(6e-7))), kPrepared},
    {3, "Advise", "sizes and pitches must be above zero", CALL(Advise(s.f, AdviceGeometry{8, 8, 2e-6, 0.0, {}, Vector(0, 0, 1)}))},
    {3, "Advise", "sizes and pitches must be above zero", CALL(Advise(s.f, AdviceGeometry{8, 0, 2e-6, 2e-6, {}, Vector(0, 0, 1)}))},
    {3, "Advise", "sizes and pitches must be above zero", CALL(Advise(s.f, AdviceGeometry{8, 8, 2e-6, 2e-6, Vector(0, NAN, 0), Vector(0, 0, 1)}))},
    {3, "Advise", "options are out of range", CALL(Advise(s.f, s.g, {.tolerance = NAN}))},
    {3, "Advise", "options are out of range", CALL(Advise(s.f, s.g, {.maxBytes = -1.0}))},
    {6, "Advise", kNoSamples, CALL(Advise(s.wide.SetNx(64), s.g))},
    {8, "FollowAdvice", "the source is a spectrum", CALL(FollowAdvice(s.f, s.spectrum, {}))},
    {3, "FollowAdvice", "the destination is a spectrum", CALL(FollowAdvice(s.spectrum, s.f, {}))},
    {3, "FollowAdvice", kWavelength, CALL(FollowAdvice(s.g.SetWavelength(6e-7), s.f, {})), kPrepared},
    {6, "FollowAdvice", kNoSamples, CALL(FollowAdvice(s.f, OneRow(s).SetNy(8), {}))},
    {6, "FollowAdvice", kNoSamples, CALL(FollowAdvice(OneRow(s).SetNy(8), s.f, {}))},
    {3, "FollowAdvice", "the way has no steps", CALL(FollowAdvice(s.f, s.g, {}))},
    {3, "FollowAdvice", "the way leads to another grid", CALL(FollowAdvice(s.wide, s.f, Advise(s.f, s.g, {.tolerance = 0.5}).ways[0]))},
    {3, "PropagateTo", "no way is within the tolerance: see Advise for what to change", CALL(PropagateTo(s.g.SetNormalVector(Vector(1, 0, 0)), s.f)), kPrepared},
    // ---- point clouds
    {3, "Lumora::AddPointCloud", "incorrect form", CALL(s.spectrum.AddPointCloud(kCloud, 2))},
    {3, "Lumora::AddPointCloud", "incorrect form", CALL(s.polar.PlanPointCloud(kCloud, 2, {}))},
    {3, "Lumora::AddPointCloud", "the tolerance must lie between 1e-4 and 0.1", CALL(s.f.AddPointCloud(kCloud, 2, {.tolerance = NAN}))},
    {3, "Lumora::AddPointCloud", "the tolerance must lie between 1e-4 and 0.1", CALL(s.f.AddPointCloud(kCloud, 2, {.tolerance = 9e-5}))},
    {3, "Lumora::AddPointCloud", "the edge must lie between 0.05 and 1", CALL(s.f.AddPointCloud(kCloud, 2, {.edge = 1.01}))},
    {3, "Lumora::AddPointCloud", "no such method", CALL(s.f.AddPointCloud(kCloud, 2, {.method = CloudMethod(3)}))},
    {3, "Lumora::AddPointCloud", "no such frame", CALL(s.f.AddPointCloud(kCloud, 2, {.frame = CloudFrame(-1)}))},
    {3, "Lumora::AddPointCloud", "there must be 0 to 2147483647 points", CALL(s.f.AddPointCloud(nullptr, 1))},
    {3, "Lumora::AddPointCloud", "pitches must lie between 1e-6 and 1e6 wavelengths", CALL(s.Changed([](Lumora& f) { f.SetPx(1e5); }).AddPointCloud(kCloud, 2)), "the pitch is the caller's"},
    {3, "Lumora::AddPointCloud", "point 0 lies too far from the plane of the field", CALL(s.f.AddPointCloud(kFarCloud, 1))},
    {3, "Lumora::AddPointCloud", "there must be 0 to 2147483647 points", CALL(s.f.AddPointCloud(kCloud, -1))},
    {3, "Lumora::AddPointCloud", "pitches and wavelength must be positive", CALL(s.Changed([](Lumora& f) { f.SetPx(-f.GetPx()); }).AddPointCloud(kCloud, 2)), "the pitch is the caller's"},
    {3, "Lumora::AddPointCloud", "point 1 is not a finite number", CALL(s.f.AddPointCloud(kBadCloud, 2))},
    {3, "Lumora::AddPointCloud", "point 0 lies in the plane of the field", CALL(s.f.PlanPointCloud(kCloud, 2, {.frame = CLOUD_LOCAL}))},
    {1, "Lumora::AddPointCloud", "no method fits the memory and the tolerance", CALL(s.f.AddPointCloud(kCloud, 2, {.memory = 1}))},
    {0, "Lumora::AddPointCloud", "", CALL(s.f.AddPointCloud(nullptr, 0))},
    // ---- files
    {7, "Lumora::SaveAsLw", kNowhere, CALL(s.polar.SaveAsLw(kNowhere, nullptr))},
    {7, "Lumora::SaveAsLw", kNowhere, CALL(s.polarSpectrum.SaveAsLW(kNowhere, &s.option))},
    {7, "Lumora::WinSaveAsLw", kNowhere, CALL(s.polar.WinSaveAsLw(kNowhere, nullptr))},
    {7, "Lumora::SaveAsDE", "err", CALL(s.polar.SaveAsDE(kNowhere))},
    {7, "Lumora::SaveAsDE", "err", CALL(s.polar.SaveAsCA(kNowhere))},
    {2, "Lumora::SaveAsLw", kNowhere, CALL(s.f.SaveAsLw(kNowhere, &s.option))},
    {2, "Lumora::WinSaveAsLw", kNowhere, CALL(s.f.WinSaveAsLW(kNowhere, nullptr))},
    {2, "Lumora::SaveAsDE", kNowhere, CALL(s.f.SaveAsDE(kNowhere))},
    {9, "Lumora::SaveAsLw", kTextNoOptionHead, CALL(s.f.SaveAsLw(kPatched, &s.option))},
    {9, "Lumora::WinSaveAsLw", kTextNoOptionHead, CALL(s.f.WinSaveAsLW(kPatched, &s.option))},
    {9, "Lumora::LoadLw", kTextNoOptionHead, CALL(s.f.LoadLw(Patched(kLw, 26, 1), &s.option)), "the sizes are the file's by then"},
    {9, "Lumora::MultiplyFileLW", kTextNoOptionHead, CALL(s.f.MultiplyFileLW(Patched(kLw, 26, 1), &s.option))},
    {9, "Lumora::SuperimposeFileLW", kTextNoOptionHead, CALL(s.f.SuperimposeFileLW(Patched(kLw, 26, 1), &s.option))},
    {4, "ewrite", kFull, CALL(s.f.SaveAsLw(kFull, nullptr))},
    {2, "SavePointCloud", kNowhere, CALL(SavePointCloud(kNowhere, nullptr, 0))},
    {4, "SavePointCloud", kFull, CALL(SavePointCloud(kFull, nullptr, 0))},
    {3, "Lumora::LoadLw", kTextTargetIsSpectrum, CALL(s.spectrum.LoadLw(kLw, nullptr))},
    {3, "Lumora::MultiplyFileLW", kLw, CALL(s.polar.MultiplyFileLW(kLw, nullptr))},
    {3, "Lumora::SuperimposeFileLW", kLw, CALL(s.spectrum.SuperimposeFileLW(kLw, nullptr))},
    {3, "Lumora::LoadDE", kDe, CALL(s.spectrum.LoadDE(kDe))},
    {3, "Lumora::LoadDE", kDe, CALL(s.spectrum.LoadCA(kDe))},
    {2, "Lumora::LoadLw", kAbsent, CALL(s.f.LoadLw(kAbsent, nullptr))},
    {2, "Lumora::LoadLw", kOther, CALL(s.f.LoadLW(kOther, nullptr))},
    {2, "Lumora::MultiplyFileLW", kOther, CALL(s.f.MultiplyFileLW(kOther, nullptr))},
    {2, "Lumora::SuperimposeFileLW", kAbsent, CALL(s.f.SuperimposeFileLW(kAbsent, nullptr))},
    {2, "Lumora::LoadDE", kOther, CALL(s.f.LoadDE(kOther))},
    {2, "Lumora::SuperimposeFileDE", "wrong format", CALL(s.f.SuperimposeFileDE(kOther))},
    {2, "Lumora::SuperimposeFileDE", kAbsent, CALL(s.f.SuperimposeFileCA(kAbsent))},
    {5, "eread", kPatched, CALL(s.f.LoadDE(WriteAll(kPatched, "DE")))},
    {7, "Lumora::SaveNpy", kNowhere, CALL(s.polar.SaveNpy(kNowhere))},
    {7, "Lumora::WinSaveNpy", kNowhere, CALL(s.polarSpectrum.WinSaveNpy(kNowhere))},
    {2, "Lumora::SaveNpy", kNowhere, CALL(s.spectrum.SaveNpy(kNowhere))},
    {2, "Lumora::WinSaveNpy", kNowhere, CALL(s.f.WinSaveNpy(kNowhere))},
    {2, "Lumora::LoadNpy", kAbsent, CALL(s.f.LoadNpy(kAbsent))},
    {2, "Lumora::LoadNpy", kOther, CALL(s.f.LoadNpy(kOther))},
    {5, "Lumora::LoadNpy", "the version of the NPY file is unknown", CALL(s.f.LoadNpy(Patched(kNpy, 6, 4)))},
    {5, "Lumora::LoadNpy", "the head of the NPY file cannot be understood", CALL(s.f.LoadNpy(Patched(kNpy, 9, 17)))},
    {5, "Lumora::LoadNpy", "the head of the NPY file cannot be understood", CALL(s.f.LoadNpy(Patched(kNpy, 10, ' ')))},
    {5, "Lumora::LoadNpy", "the array must be little-endian complex64, complex128, float32 or float64", CALL(s.f.LoadNpy(Patched(kNpy, 21, '>')))},
    {5, "Lumora::LoadNpy", "the array must have one or two axes", CALL(s.f.LoadNpy(WriteAll(kPatched, ReadAll(kNpy).replace(ReadAll(kNpy).find("8, 8"), 7, "1,1,1),"))))},
    {3, "Lumora::SaveAsText", kPatched, CALL(s.f.SaveAsText(kPatched, 8))},
    {3, "Lumora::SaveAsText", kNowhere, CALL(s.f.SaveAsText(kNowhere, -1))}, // before the file is opened; a list behind it
    {2, "Lumora::SaveAsText", kNowhere, CALL(s.f.SaveAsText(kNowhere, 3))},
    {7, "Lumora::SaveAsText", kNowhere, CALL(s.polar.SaveAsText(kNowhere, 8))},
    {3, "Lumora::SaveAsCsv", kPatched, CALL(s.f.SaveAsCsv(kPatched, X_AXIS, 8))},
    {3, "Lumora::SaveAsCsv", kPatched, CALL(s.f.SaveAsCsv(kPatched, Y_AXIS, -1))},
    {2, "Lumora::SaveAsCsv", kNowhere, CALL(s.f.SaveAsCSV(kNowhere, 8))},
    {7, "Lumora::SaveAsCsv", kNowhere, CALL(s.polar.SaveAsCsv(kNowhere, Y_AXIS, 4))},
    {2, "Lumora::SaveAsPTF", kNowhere, CALL(s.f.SaveAsPTF(kNowhere))},
    {7, "Lumora::SaveAsPTF", "err", CALL(s.polarSpectrum.SaveAsPTF(kNowhere))},
    {2, "Lumora::LoadCSV", kNowhere, CALL(s.f.LoadCSV(kNowhere))},
    {3, "Lumora::LoadCSV", kNowhere, CALL(s.spectrum.LoadCSV(kNowhere))},
    {2, "Lumora::WinSaveAsBMPEx", kNowhere, CALL(s.f.SaveAsBMP(kNowhere, ModeReal, 0, 1))},
    {3, "Lumora::WinSaveAsBMPEx", kTextMaxBelowMin, CALL(s.f.WinSaveAsBMPC(kPatched, ModeReal, 1, 0))},
    {8, "Lumora::LoadBmp", "", CALL(s.spectrum.LoadBmp(kBmp, ModeReal, Complex()))},
    {8, "Lumora::LoadBMP", "", CALL(s.spectrum.LoadBMP(kBmp, ModeReal))},
    {2, "Lumora::LoadBmp", kAbsent, CALL(s.f.LoadBmp(kAbsent, ModeReal, Complex()))},
    {2, "Lumora::LoadBMP", kOther, CALL(s.f.LoadBMP(kOther, ModeReal))},
    {5, "Lumora::LoadBmp", "Unsupported Pixel Bits", CALL(s.f.LoadBmp(Patched(kBmp, 28, 24), ModeReal, Complex()))},
    {5, "Lumora::LoadBMP", "Unsupported Pixel Bits", CALL(s.f.LoadBMP(Patched(kBmp, 28, 1), ModeReal))},
    {5, "Lumora::LoadBmp", "Unsupported File Type", CALL(s.f.LoadBmp(Patched(kBmp, 30, 1), ModeReal, Complex()))},
    {5, "Lumora::LoadBMP", "Unsupported File Type", CALL(s.f.LoadBMP(Patched(kBmp, 30, 3), ModeReal))},
    {5, "Lumora::LoadBmp", "file format error", CALL(s.f.LoadBmp(Patched(kBmp, 18, 0), ModeReal, Complex()))},
    {5, "Lumora::LoadBMP", "file format error", CALL(s.f.LoadBMP(Patched(kBmp, 22, 0), ModeReal))},
    {5, "Lumora::LoadBmp", "Abnormal pixel depth", CALL(s.f.LoadBmp(Patched(kBmp, 28, 2), ModeReal, Complex()))},
    {5, "Lumora::LoadBMP", "Abnormal pixel depth", CALL(s.f.LoadBMP(Patched(kBmp, 28, 2), ModeReal))},
    {2, "Lumora::WinSaveAsHBI", kNowhere, CALL(s.f.SaveAsHBI(kNowhere, ModeReal, 0, 1, nullptr))},
    {7, "Lumora::WinSaveAsHBI", "err", CALL(s.polar.WinSaveAsHBI(kPatched, ModeReal, 0, 1, nullptr))},
    {9, "Lumora::WinSaveAsHBI", kTextNoOptionHead, CALL(s.f.WinSaveAsHBI(kPatched, ModeReal, 0, 1, &s.option))},
    {2, "Lumora::WinSaveAsRAW", kNowhere, CALL(s.f.SaveAsRAW(kNowhere, ModeReal, 0, 1))},
    {3, "Lumora::WinSaveAsRAW", kTextMaxBelowMin, CALL(s.f.WinSaveAsRAW(kPatched, ModeReal, 1, 0))},
    {4, "ewrite", kFull, CALL(s.f.WinSaveAsRAW(kFull, ModeReal, 0, 1))},
    {4, "ewrite", kFull, CALL(s.f.SaveAsHBI(kFull, ModeReal, 0, 1, nullptr))},
    {8, "Lumora::LoadHBI", kHbi, CALL(s.spectrum.LoadHBI(kHbi, ModeReal))},
    {2, "Lumora::LoadHBI", kAbsent, CALL(s.f.LoadHBI(kAbsent, ModeReal))},
    {2, "Lumora::LoadHBI", kOther, CALL(s.f.LoadHBI(kOther, ModeReal))},
    {5, "Lumora::LoadHBI", kPatched, CALL(s.f.LoadHBI(Patched(kHbi, 2, 0), ModeReal))},
    // ---- containers
    {2, "Lumora::LoadLm", "this is not LM format", CALL(s.f.LoadLm(kOther))},
    {2, "Lumora::LoadLm", "multi-part/segmentation type LM format", CALL(s.f.LoadLm(kMulti))},
    {2, "Lumora::LoadLm", kAbsent, CALL(s.f.LoadLm(kAbsent))},
    {2, "Lumora::LoadMpLm", "this is a single-part LM file", CALL(s.f.LoadMpLm(kLm, 0, nullptr))},
    {2, "Lumora::LoadParamMpLm", "this is segmentation-type LM file", CALL(s.f.LoadParamMpLm(kSegmented, 0, nullptr))},
    {2, "GetSizeMpLm", "this is a single-part LM file", CALL(GetSizeMpLm(kLm))},
    {2, "GetSizeSegLm", "this is a not segmented LM file", CALL(GetSizeSegLm(kMulti, s.nx, s.ny))},
    {2, "Lumora::LoadSegLm", "this is a not segmented LM file", CALL(s.f.LoadSegLm(kMulti, 0, 0, nullptr))},
    {2, "Lumora::SaveAsMpLm", "multi-part LM file must be pre-created", CALL(s.f.SaveAsMpLm(kAbsent, 0))},
    {2, "Lumora::SaveAsSegLm", "segmentated LM file must be pre-created", CALL(s.f.SaveAsSegLm(kAbsent, 0, 0))},
    {2, "Lumora::SaveParamSegLm", "segmentated LM file must be pre-created", CALL(s.f.SaveParamSegLm(kAbsent))},
    {2, "Lumora::SaveAsLm", kNowhere, CALL(s.f.SaveAsLm(kNowhere))},
    {2, "Lumora::WinSaveAsLm", kNowhere, CALL(s.f.WinSaveAsLm(kNowhere))},
    {2, "CreateFileMpLm", kNowhere, CALL(CreateFileMpLm(kNowhere, 1))},
    {3, "CreateFileMpLm", "Too large size", CALL(CreateFileMpLm(kPatched, 16384))},
    {3, "CreateFileSegLm", "Too large size", CALL(CreateFileSegLm(kPatched, 128, 128))},
    {3, "Lumora::LoadMpLm", "index is too large", CALL(s.f.LoadMpLm(kMulti, 2, nullptr))},
    {3, "Lumora::LoadSegLm", "index is too large", CALL(s.f.LoadSegLm(kSegmented, 2, 0, nullptr))},
    {3, "Lumora::LoadParamSegLm", "this is an incompleted segemented LM file", CALL(s.f.LoadParamSegLm(kFresh, 0, 0, nullptr)),
     "parameters are read before the head is found missing"},
    {3, "Lumora::SaveAsMpLm", "size of data in specified index of file is different from this object", CALL(s.wide.SaveAsMpLm(kMulti, 0))},
    {3, "Lumora::SaveAsSegLm", "Saved data is not compatible with exist file segment", CALL(s.wide.SaveAsSegLm(kSegmented, 1, 1))},
    {6, "Lumora::SaveAsSegLm", "a segment needs samples: set the sizes and call Init first", CALL(Stage::Field(0, 0).SaveAsSegLm(kFresh, 0, 0))},
    {4, "Lumora::SaveAsLm", kFull, CALL(s.f.SaveAsLm(kFull))},
    {5, "Lumora::Own", "tell error", CALL(s.f.SaveHeadIntoAPipe())},
    {5, "Lumora::LoadLm", kPatched, CALL(s.f.LoadLm(WriteAll(kPatched, "LM")))},
    // ---- fields larger than memory
    {2, "SegmentedField", kAbsent, CALL(SegmentedField f(kAbsent))},
    {2, "SegmentedField", kMulti, CALL(SegmentedField f(kMulti))},
    {2, "LargeAsmProp", kOther, CALL(LargeAsmProp(kOther, kPatched, 1e-3))},
    {3, "LargeAsmProp", "no segment has been saved into the file yet: its sizes are unknown", CALL(LargeAsmProp(kFresh, kPatched, 1e-3))},
    {3, "SegmentedField", "no such sizes of segments", CALL(SegmentFile(s.f, 0, 2, 8, 8))},
    {3, "SegmentedField", "a segment is missing", CALL(SegmentedField(kSegmented).GetSegment(1, 0, s.g))},
    {3, "SegmentedField", "there is no such segment", CALL(SegmentedField(kSegmented).GetSegment(2, 0, s.g))},
    {3, "SegmentedField", "the rectangle does not lie in the field", CALL(SegmentedField(kSegmented).Get(0, 9, 8, 8, s.g))},
    {3, "SegmentedField", "the field does not fit the file", CALL(SegmentedField(kSegmented).PutSegment(0, 0, s.spectrum))},
    {3, "SegmentedField", "the field has not the size of a segment", CALL(SegmentedField(kSegmented).PutSegment(0, 0, s.wide))},
    {4, "SegmentedField", "the file was opened for reading", CALL(SegmentedField(kSegmented).PutSegment(0, 0, s.f))},
    {6, "SegmentedField", kNoSamples, CALL(Open larger(s.f); larger.SetNx(64); SegmentedField(kSegmented).Put(0, 0, larger))},
    {7, "SegmentedField", "the samples are polar", CALL(SegmentedField(kSegmented).PutSegment(0, 0, s.polar))},
    {3, "LargeAsmProp", "the source lacks segments", CALL(LargeAsmProp(kSegmented, kPatched, 1e-3))},
    {3, "LargeAsmProp", "no such number of threads", CALL(LargeOptions o; o.threads = -1; LargeAsmProp(kSegmented, kPatched, 1e-3, o))},
    {3, "LargeAsmProp", "no such number of threads", CALL(LargeOptions o; o.threads = 1025; LargeAsmProp(kSegmented, kPatched, 1e-3, o))},
    {2, "LargeAsmProp", "", CALL(LargeAsmProp(kSegmented, nullptr, 1e-3, kZeros))},
    {8, "LargeAsmProp", "the source is a spectrum", CALL(LargeAsmProp(SegmentFile(s.spectrum, 2, 2, 8, 8), kPatched, 1e-3, kZeros))},
    {6, "LargeAsmProp", "this engine takes the whole field in memory", CALL(LargeOptions o = kZeros; o.memory = 1; LargeAsmProp(SegmentFile(s.f, 1, 1, 8, 1), kPatched, 0.0, o))},
    {3, "LargeFft", "FFT mode", CALL(LargeFft(kSegmented, kPatched, 0))},
    {3, "LargeFft", "the whole sizes must be powers of two", CALL(LargeFft(SegmentFile(s.f, 3, 1, 8, 8), kPatched, 1, kZeros))},
    {8, "LargeShiftedAsmProp", "both files must be in real space", CALL(LargeShiftedAsmProp(kSegmented, SegmentFile(s.spectrum, 2, 2, 8, 8), 1, kZeros))},
    {3, "LargeShiftedAsmProp", "wavelengths or normals of the files differ", CALL(LargeShiftedAsmProp(kSegmented, SegmentFile(s.f.SetWavelength(1e-6), 2, 2, 8, 8), 1, kZeros)), "the row sets it"},
    {3, "LargeShiftedAsmProp", "sizes or pitches of the files differ", CALL(LargeShiftedAsmProp(kSegmented, SegmentFile(s.f, 2, 2, 8, 4), 1, kZeros))},
    {3, "LargeShiftedAsmProp", "the precision must be 1 to 4", CALL(LargeShiftedAsmProp(kSegmented, kPatched, 5))},
    {3, "LargeShiftedFresnelProp", "a field of one row or one column fits into memory: use the member", CALL(LargeShiftedFresnelProp(SegmentFile(s.f, 1, 1, 8, 1), kPatched, false, kZeros))},
    {3, "LargeAdd", "sizes, domains, pitches or wavelengths of the files differ", CALL(LargeAdd(kSegmented, SegmentFile(s.f, 1, 1, 8, 8), kPatched, kZeros))},
    {3, "LargePreview", "a preview has 1 to as many pixels as the field has samples", CALL(LargePreview(kSegmented, s.g, 17, 2, kZeros))},
    {3, "LargeAddPointCloud", "points must be given in global coordinates: each segment has its own axes", CALL(CloudOptions o; o.frame = CLOUD_LOCAL; LargeAddPointCloud(kSegmented, kPatched, kCloud, 1, o, kZeros))},
    {3, "LargeResample", "the files lie on different planes", CALL(LargeResample(kSegmented, SegmentFile(s.g, 2, 2, 8, 8), LINEAR_INTERPOL, kZeros))},
    {2, "LargeSaveAsBmp", "", CALL(LargeSaveAsBmp(kSegmented, "", ModeReal, 0, 1, GradationGrey, kZeros))},
    {2, "LargeSaveAsBmp", kNowhere, CALL(LargeSaveAsBmp(kSegmented, kNowhere, ModeReal, 0, 1, GradationGrey, kZeros))},
    {3, "LargeSaveAsBmp", "max is below min", CALL(LargeSaveAsBmp(kSegmented, kPatched, ModeReal, 1, 0, GradationGrey, kZeros))},
    {3, "LargeSaveAsBmp", "the masked phase needs the largest amplitude of all rows", CALL(LargeSaveAsBmp(kSegmented, kPatched, ModeMaskedPhase, 0, 1, GradationGrey, kZeros))},
    {6, "LargeSaveAsBmp", "a picture has at most 2^30 columns and rows", CALL(LargeSaveAsBmp(SegmentFile(s.f, 2, 1, 1 << 30, 1), kPatched, ModeReal, 0, 1, GradationGrey, kZeros))},
};

// Operations on a field that has no samples for its sizes.
#define BARE(name, ...) {6, "Lumora::" name, kNoSamples, CALL(__VA_ARGS__)}
const Row kWithoutSamples[] = {
    BARE("Clear", s.none.Clear()), BARE("operator-", s.none.operator-()), BARE("SetConst", s.none.SetConst(Complex())),
    BARE("SetConstReal", s.none.SetConstReal(1)), BARE("SetConstImag", s.none.SetConstImag(1)),
    BARE("SetConstAmplitude", s.none.SetConstAmplitude(1)), BARE("SetConstPhase", s.none.SetConstPhase(1)),
    BARE("SetConstWin", s.none.SetConstWin(Complex())), BARE("SetConstWinReal", s.none.SetConstWinReal(1)),
    BARE("SetConstWinImag", s.none.SetConstWinImag(1)), BARE("SetConstWinAmplitude", s.none.SetConstWinAmplitude(1)),
    BARE("SetConstWinPhase", s.none.SetConstWinPhase(1)), BARE("_ConvToPolarForm", s.none.ConvToPolarForm()),
    BARE("ConvToIntensity", s.none.ConvToIntensity()), BARE("ConvToLogIntensity", s.none.ConvToLogIntensity()),
    BARE("ConvToAbsolute", s.none.ConvToAbsolute()), BARE("ConvToConjugate", s.none.ConvToConjugate()), BARE("Normalize", s.none.Normalize(1)),
    BARE("NormalizeWin", s.none.NormalizeWin(1)), BARE("ImageRotation", s.none.ImageRotation(2)), BARE("Embed", s.none.Embed(1)),
    BARE("Embed", s.none.Embed(1, 1)), BARE("Extract", s.none.Extract(1)), BARE("Fft", s.none.Fft(1)),
    BARE("SwitchQuadrant", s.none.SwitchQuadrant()), BARE("RawAsmPropFs", s.none.RawAsmPropFs(1)), BARE("AsmPropFs", s.none.AsmPropFs(1)),
    BARE("RawAsmProp", s.none.RawAsmProp(1)), BARE("AsmProp", s.none.AsmProp(1)), BARE("ExactAsmProp", s.none.ExactAsmProp(1)),
    BARE("FresnelProp", s.none.FresnelProp(1)), BARE("FourierProp", s.none.FourierProp(1)), BARE("BackFourierProp", s.none.BackFourierProp(1)),
    BARE("AddPointCloud", s.none.AddPointCloud(nullptr, 0)), BARE("_Old_SPWProp", s.none._Old_SPWProp(1)), BARE("SPWPropFsTbl", s.none.SPWPropFsTbl(1, TrigTable(2))), BARE("SPW1d", s.none.SPW1d(1)),
    BARE("RawScaledFft", s.none.RawScaledFft(1, 1)), BARE("ScaledFft", s.none.ScaledFft(1, 1)),
    BARE("ShiftedFresnelProp", s.none.ShiftedFresnelProp(Vector(0, 0, 1), 1e-6, 1e-6)), BARE("NearestNeighbor", s.none.NearestNeighbor(0, 0)),
    BARE("BiLinear", s.none.BiLinear(0, 0)), BARE("LinearInterpol", s.none.LinearInterpol(0, 0)), BARE("BiCubic", s.none.BiCubic(0, 0)),
    BARE("Cubic4Interpol", s.none.Cubic4Interpol(0, 0)), BARE("Cubic6Interpol", s.none.Cubic6Interpol(0, 0)),
    BARE("Cubic8Interpol", s.none.Cubic8Interpol(0, 0)), BARE("CubicInterpol", s.none.CubicInterpol(0, 0, 4)),
    BARE("CubicInterpolX", s.none.CubicInterpolX(0, 0, 4)), BARE("SincInterpolX", s.none.SincInterpolX(0, 0)),
    BARE("GetSquareSum", s.none.GetSquareSum()), BARE("GetSquareSumWhole", s.none.GetSquareSumWhole()),
    BARE("GetSquareAverage", s.none.GetSquareAverage()), BARE("GetAbsoluteSum", s.none.GetAbsoluteSum()),
    BARE("GetAmplitudeSum", s.none.GetAmplitudeSum()), BARE("GetAbsoluteAverage", s.none.GetAbsoluteAverage()),
    BARE("GetAbsoluteMax", s.none.GetAbsoluteMax()), BARE("GetAmplitudeMax", s.none.GetAmplitudeMax()),
    BARE("GetAmplitudeMaxWhole", s.none.GetAmplitudeMaxWhole()), BARE("GetAmplitudeVariance", s.none.GetAmplitudeVariance()),
    BARE("GetEnergyRatioInWindow", s.none.GetEnergyRatioInWindow()), BARE("CreateRealHistogram", delete &s.none.CreateRealHistogram(8)),
    BARE("SetRect", s.none.SetRect(1, 1, 1)), BARE("SetGaussian", s.none.SetGaussian(1, 1, 1)),
    BARE("SetSeparableGaussian", s.none.SetSeparableGaussian(1, 1, 1, 1, 1)), BARE("SetPlaneWave", s.none.SetPlaneWave(Vector(0, 0, 1), Phase(0))),
    BARE("SetPlaneWave", s.none.SetPlaneWave(0.0, 0.0, Phase(0))), BARE("MultiplyPlaneWave", s.none.MultiplyPlaneWave(Vector(0, 0, 1), Phase(0))),
    BARE("MultiplyPlaneWave", s.none.MultiplyPlaneWave(0.0, 0.0, Phase(0))), BARE("ReduceByAverage", s.none.ReduceByAverage(1)),
    BARE("Replicate", s.none.Replicate(1)), BARE("Pixelation", s.none.Pixelation(1)), BARE("Pixelation", s.none.Subdivide(1)),
    BARE("EnlargeZeroFill", s.none.EnlargeZeroFill(1)), BARE("ExtractWindow", s.none.ExtractWindow(Lumora(4, 4), Complex())),
    BARE("ShiftZeroFillX", s.none.ShiftZeroFillX(1)), BARE("ShiftZeroFillY", s.none.ShiftZeroFillY(1)),
    BARE("Superimpose", s.none.Superimpose(s.f, 0.0f, 0.0f)), BARE("PaintTriangle", s.none.PaintTriangle(0, 0, 1, 1, 2, 2, Complex())),
    BARE("Paint", s.none.Paint(0, 0, Complex())), BARE("DrawLine", s.none.DrawLine(0, 0, 1, 1, Complex())),
    BARE("PartialClipAmplitude", s.none.PartialClipAmplitude(4, 0.1)), BARE("PartialClipPhase", s.none.PartialClipPhase(4, 0.1)),
    BARE("HardClipAmplitude", s.none.HardClipAmplitude(4)), BARE("HardClipPhase", s.none.HardClipPhase(4)),
    BARE("SetRandomPhase", s.none.SetRandomPhase()), BARE("ModRandomPhase", s.none.ModRandomPhase()),
    BARE("SetQuadraticPhase", s.none.SetQuadraticPhase(1)), BARE("EncodeDoublePhase", s.none.EncodeDoublePhase()),
    BARE("EncodeErrorDiffusion", s.none.EncodeErrorDiffusion()), BARE("ReplaceAmplitude", s.none.ReplaceAmplitude(s.like)),
    BARE("RetrievePhase", s.none.RetrievePhase(s.like, {})),
    BARE("AddSphericalWave", s.none.AddSphericalWave(Vector(0, 0, 1e-3), Phase(0), 1, WINDOW_RECT)),
    BARE("AddSphericalWave", s.none.AddSphericalWave(0, 0, 1e-3, 1, WINDOW_RECT)),
    BARE("SetSphericalWave", s.none.SetSphericalWave(0, 0, 1e-3, 1, WINDOW_RECT)),
    BARE("AddSphericalWaveSQR", s.none.AddSphericalWaveSQR(0, 0, 1e-3, 1, 0, WINDOW_RECT)),
    BARE("AddSphericalWaveRF", s.none.AddSphericalWaveRF(0, 0, 1e-3, 1, 0, WINDOW_RECT)), BARE("SaveAsLw", s.none.SaveAsLw(kNowhere, nullptr)),
    BARE("PropagateStack", s.none.PropagateStack(&kOne, 1, kAnyPlane)), BARE("GetFocusMeasure", s.none.GetFocusMeasure(FOCUS_TAMURA)),
    BARE("SaveNpy", s.none.SaveNpy(kNowhere)), BARE("WinSaveNpy", s.none.WinSaveNpy(kNowhere)),
    BARE("WinSaveAsLw", s.none.WinSaveAsLw(kNowhere, nullptr)), BARE("SaveAsDE", s.none.SaveAsDE(kNowhere)),
    BARE("MultiplyFileLW", s.none.MultiplyFileLW(kNowhere, nullptr)), BARE("SuperimposeFileLW", s.none.SuperimposeFileLW(kNowhere, nullptr)),
    BARE("SuperimposeFileDE", s.none.SuperimposeFileDE(kNowhere)), BARE("SaveAsCsv", s.none.SaveAsCSV(kNowhere, 0)),
    BARE("SaveAsText", s.none.SaveAsText(kNowhere, 0)), BARE("SaveAsPTF", s.none.SaveAsPTF(kNowhere)),
    BARE("WinSaveAsBMPEx", s.none.SaveAsBMP(kNowhere, ModeReal, 0, 1)), BARE("WinSaveAsHBI", s.none.SaveAsHBI(kNowhere, ModeReal, 0, 1, nullptr)),
    BARE("WinSaveAsRAW", s.none.SaveAsRAW(kNowhere, ModeReal, 0, 1)), BARE("SaveAsLm", s.none.SaveAsLm(kNowhere)),
    BARE("WinSaveAsLm", s.none.WinSaveAsLm(kNowhere)), BARE("SaveAsMpLm", s.none.SaveAsMpLm(kMulti, 1)),
    BARE("SaveAsSegLm", s.none.SaveAsSegLm(kFresh, 0, 0)), BARE("operator+=", s.none += s.like), BARE("operator-=", s.like -= s.none),
    BARE("operator*=", s.none *= s.like), BARE("operator/=", s.none /= s.like), BARE("operator+=", s.none += ComplexDouble(1, 0)),
    BARE("operator-=", s.none -= ComplexDouble(1, 0)), BARE("operator*=", s.none *= ComplexDouble(1, 0)),
    BARE("operator/=", s.none /= ComplexDouble(1, 0)), BARE("operator*=", s.none *= 2.0), BARE("operator/=", s.none /= 2.0),
    BARE("_ConvToComplexForm", Polar(s.none).ConvToComplexForm()), BARE("LinearInterpol1d", OneRow(s).LinearInterpol1d(0)),
    BARE("RawScaledFft1d", OneRow(s).RawScaledFft1d(1)), BARE("ScaledFft1d", OneRow(s).ScaledFft1d(1)),
    BARE("ScaledProp1d", s.row.ScaledProp1d(OneRow(s), 1)), BARE("ShiftedFresnelProp1d", s.row.ShiftedFresnelProp1d(OneRow(s))),
    BARE("RotateSpec1d", s.OtherForm(OneRow(s)).RotateSpec1d(0.1, CUBIC_INTERPOL, 8)), BARE("Rotate1d", OneRow(s).Rotate1d(0.1)),
    BARE("GetSnr", s.none.GetSnr(s.like, 1.0)), BARE("GetScaleFactor", s.none.GetScaleFactor(s.like)),
    BARE("GetOverlapFactor", s.none.GetOverlapFactor(s.like)), BARE("Rotate", s.f.Rotate(s.none, s.turn, nullptr, CUBIC_INTERPOL, false)),
    BARE("RotateFs", s.spectrum.RotateFs(s.OtherForm(s.none), s.turn, nullptr, CUBIC_INTERPOL, false)),
    BARE("GetRotationFs", s.OtherForm(s.none).GetRotationFs(s.spectrum, s.turn)),
    BARE("GetRotationParaFs", s.OtherForm(s.none).GetRotationParaFs(s.spectrum)), BARE("RotateY", s.none.RotateY(0.1, nullptr)),
    BARE("RotateYFs", s.OtherForm(s.none).RotateYFs(0.1, CUBIC_INTERPOL, 8, nullptr)),
    BARE("ResamplingCopy", s.g.ResamplingCopy(s.none, LINEAR_INTERPOL)), BARE("ResamplingAdd", s.none.ResamplingAdd(s.g, LINEAR_INTERPOL)),
    BARE("ResamplingMultiply", s.g.ResamplingMultiply(s.none, LINEAR_INTERPOL)), BARE("Add", s.g.Add(s.none)), BARE("Multiply", s.none.Multiply(s.g)),
    BARE("ShiftedAsmProp", s.like.ShiftedAsmProp(s.none, 1)), BARE("ShiftedAsmPropAdd", s.none.ShiftedAsmPropAdd(s.like, 1)),
    BARE("ShiftedAsmPropAddEx", s.f.ShiftedAsmPropAddEx(s.none)), BARE("ShiftedFresnelProp", s.none.ShiftedFresnelProp(s.like)),
    BARE("ShiftedFresnelPropAdd", s.none.ShiftedFresnelPropAdd(s.like, ShiftedFresnelPropDescriptor(1e-3, 2e-6, 2e-6, s.g))),
    BARE("ShiftedFresnelPropAddEx", s.none.ShiftedFresnelPropAddEx(s.g)),
    BARE("AddSphericalWaveSqr", s.none.AddSphericalWaveSqr({s.none.GetWavelength(), 2e-6, 2e-6, Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_RECT)),
};
// clang-format on

const Row kBeforeInit[] = {
    {6, "Lumora::AddSphericalWaveSQR", "InitSphericalWaveSQR() must be prior to this function",
     CALL(s.f.AddSphericalWaveSQR(0, 0, 1e-3, 1, 0, WINDOW_COSINE))},
    {6, "Lumora::AddSphericalWaveRF", "InitSphericalWaveRF() must be prior to this function",
     CALL(s.f.AddSphericalWaveRF(0, 0, 1e-3, 1, 0, WINDOW_COSINE))},
};

class ErrorTable : public ::testing::Test
{
protected:
    ErrorTable()
    {
        Stage s;
        s.f.SaveAsLm(kLm);
        CreateFileMpLm(kMulti, 2);
        s.f.SaveAsMpLm(kMulti, 0);
        CreateFileSegLm(kSegmented, 2, 2);
        s.f.SaveAsSegLm(kSegmented, 0, 0);
        CreateFileSegLm(kFresh, 2, 2);
        WriteAll(kOther, std::string(200, 'L'));
        s.f.SaveAsLw(kLw, nullptr);
        s.f.SaveAsDE(kDe);
        s.f.SaveAsBMP(kBmp, ModeReal, 0, 1);
        s.f.SaveAsHBI(kHbi, ModeReal, 0, 1, nullptr);
        s.f.SaveNpy(kNpy);
    }
    ~ErrorTable() override
    {
        for (const char* path : {kOther, kLm, kMulti, kSegmented, kFresh, kLw, kDe, kBmp, kHbi, kNpy, kPatched})
            std::remove(path);
    }
};
} // namespace

TEST_F(ErrorTable, BeforeTheFirstInitOfThePointSources)
{
    Stage stage;
    for (const Row& row : kBeforeInit)
        Expect(row, stage);
}

TEST_F(ErrorTable, EveryRowInBothEngines)
{
    Lumora(8, 8, 2e-6, 2e-6, 500e-9).InitSphericalWaveSQR(Vector::K());
    for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FftLib(1)})
        for (const Row& row : kRows)
        {
            const Engine engine(lib);
            Stage stage;
            Expect(row, stage);
        }
}

TEST_F(ErrorTable, FieldsWithoutSamplesInBothEngines)
{
    Lumora(8, 8, 2e-6, 2e-6, 500e-9).InitSphericalWaveSQR(Vector::K());
    for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FftLib(1)})
        for (const Row& row : kWithoutSamples)
        {
            const Engine engine(lib);
            Stage disposed;
            disposed.none.Dispose();
            disposed.like.Clear();
            if (std::string(row.function) != "Lumora::Clear") // without a buffer there is nothing to clear
                Expect(row, disposed);
            Stage beyond; // sizes that the buffer does not hold
            beyond.none = beyond.like = Stage::Field(8, 4);
            beyond.none.SetNy(8);
            beyond.like.SetNy(8);
            Expect(row, beyond);
            Stage negative; // the product is 1, but rows of -1 samples do not exist; some look at their arguments first
            negative.none.SetNx(-1).SetNy(-1);
            negative.like.SetNx(-1).SetNy(-1);
            const int code = Catch([&] { row.call(negative); }).code;
            EXPECT_TRUE(code == 6 || code == 3) << row.function << " " << code;
            Stage empty; // nothing to do, nothing to read
            empty.none = empty.like = Stage::Field(0, 0);
            EXPECT_NE(Catch([&] { row.call(empty); }).message, kNoSamples) << row.function;
        }
}
