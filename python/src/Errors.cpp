// Failures of the library as exceptions of Python, and its enumerations.
#include "Bind.h"

#include "LmlAdvice.h"
#include "LmlLarge.h"
#include "LmlPictures.h"

#include <cctype>
#include <string>
#include <string_view>

namespace LumoraLib::python
{
namespace
{
/// The operation's own message, in UTF-8: what stands behind "(code <n>): " in what().
std::string MessageOf(const LumoraException& failure)
{
    const std::string text = failure.what();
    const std::string mark = "(code " + std::to_string(failure.GetErrorCode()) + "): ";
    const std::size_t at = text.find(mark);
    return at == std::string::npos ? std::string() : text.substr(at + mark.size());
}

void Raise(const LumoraException& failure)
{
    const py::object kind = py::module_::import("lumora._errors").attr("LumoraError");
    const py::object error =
        kind(failure.GetErrorCode(), failure.GetFuncname(), MessageOf(failure), std::string(DescribeError(failure)));
    PyErr_SetObject(kind.ptr(), error.ptr());
}

template <class E>
struct Named
{
    const char* name;
    E value;
};

/// An enumeration that is also taken by number and by name in small letters: mode="intensity".
template <class E, std::size_t N>
void DefineEnum(py::module_& m, const char* name, const char* doc, const Named<E> (&values)[N])
{
    py::enum_<E> e(m, name, doc);
    for (const Named<E>& value : values)
        e.value(value.name, value.value);
    e.def(py::init(
        [&values](const std::string& text)
        {
            std::string upper;
            for (const char c : text)
                upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            std::string known;
            for (const Named<E>& value : values)
            {
                if (upper == value.name)
                    return value.value;
                known += std::string(known.empty() ? "" : ", ") + value.name;
            }
            throw py::value_error("\"" + text + "\" is none of " + known);
        }));
    py::implicitly_convertible<py::str, E>();
    py::implicitly_convertible<py::int_, E>();
}

constexpr Named<ErrorCode> kErrorCodes[] = {
    {"NONE", ERR_NONE},           {"MEMORY", ERR_MEMORY},         {"FILE_OPEN", ERR_FILE_OPEN},
    {"PARAMETER", ERR_PARAMETER}, {"FILE_WRITE", ERR_FILE_WRITE}, {"FILE_READ", ERR_FILE_READ},
    {"SOMETHING", ERR_SOMETHING}, {"FORM", ERR_COMPLEX_FORM},     {"DOMAIN", ERR_SPECTRUM_OR_AMPLITUDE},
    {"INTERNAL", ERR_INTERNAL}};
constexpr Named<ComplexForm> kForms[] = {{"AMPLITUDE", COMPLEX_AMPLITUDE},
                                         {"SPECTRUM", SPECTRUM},
                                         {"POLAR_AMPLITUDE", POLAR_AMPLITUDE},
                                         {"POLAR_SPECTRUM", POLAR_SPECTRUM}};
constexpr Named<Axis> kAxes[] = {{"X", X_AXIS}, {"Y", Y_AXIS}};
constexpr Named<Interpol> kInterpols[] = {
    {"LINEAR", LINEAR_INTERPOL},    {"CUBIC", CUBIC_INTERPOL},     {"CUBIC4", CUBIC4_INTERPOL},
    {"CUBIC6", CUBIC6_INTERPOL},    {"CUBIC8", CUBIC8_INTERPOL},   {"SINC", SINC_INTERPOL},
    {"NEAREST", ADJACENT_INTERPOL}, {"BICUBIC", BICUBIC_INTERPOL}, {"BILINEAR", BILINEAR_INTERPOL}};
constexpr Named<WindowFunc> kWindows[] = {
    {"NONE", WINDOW_NONE}, {"RECT", WINDOW_RECT}, {"TRIANGLE", WINDOW_TRIANGLE}, {"COSINE", WINDOW_COSINE}};
constexpr Named<Mode> kModes[] = {{"INTENSITY", ModeIntensity},
                                  {"REAL", ModeReal},
                                  {"IMAG", ModeImag},
                                  {"PHASE", ModePhase},
                                  {"AMPLITUDE", ModeAmplitude},
                                  {"LOG_INTENSITY", ModeLogIntensity},
                                  {"MASKED_PHASE", ModeMaskedPhase}};
constexpr Named<Gradation> kGradations[] = {{"GREY", GradationGrey}, {"RAINBOW", GradationRainbow}};
constexpr Named<FftLib> kEngines[] = {{"SPLIT_RADIX", FFT_LIB_SPLIT_RADIX}, {"FAST", FFT_LIB_VENDOR}};
constexpr Named<CloudMethod> kMethods[] = {
    {"AUTOMATIC", CLOUD_AUTOMATIC}, {"SLABS", CLOUD_SLABS}, {"DIRECT", CLOUD_DIRECT}};
constexpr Named<CloudFrame> kFrames[] = {{"GLOBAL", CLOUD_GLOBAL}, {"LOCAL", CLOUD_LOCAL}};
constexpr Named<FocusMeasure> kMeasures[] = {{"VARIANCE", FOCUS_VARIANCE},           {"GRADIENT", FOCUS_GRADIENT},
                                             {"LAPLACIAN", FOCUS_LAPLACIAN},         {"TAMURA", FOCUS_TAMURA},
                                             {"EDGE_SPARSITY", FOCUS_EDGE_SPARSITY}, {"AMPLITUDE", FOCUS_AMPLITUDE}};
constexpr Named<InstructionSet> kInstructionSets[] = {
    {"SSE2", INSTRUCTION_SET_SSE2}, {"AVX2", INSTRUCTION_SET_AVX2}, {"AVX512", INSTRUCTION_SET_AVX512}};
constexpr Named<StackPropagator> kPropagators[] = {{"ASM", STACK_ASM}, {"EXACT_ASM", STACK_EXACT_ASM}};
constexpr Named<MissingSegments> kMissing[] = {{"REFUSED", MISSING_REFUSED}, {"ZERO", MISSING_ZERO}};
constexpr Named<SegmentedAccess> kAccesses[] = {{"READ", SEGMENTED_READ}, {"UPDATE", SEGMENTED_UPDATE}};
constexpr Named<AdvisedMember> kMembers[] = {{"COPY", ADVISE_COPY},
                                             {"RAW_ASM_PROP", ADVISE_RAW_ASM_PROP},
                                             {"ASM_PROP", ADVISE_ASM_PROP},
                                             {"EXACT_ASM_PROP", ADVISE_EXACT_ASM_PROP},
                                             {"SHIFTED_ASM_PROP", ADVISE_SHIFTED_ASM_PROP},
                                             {"SHIFTED_FRESNEL_PROP", ADVISE_SHIFTED_FRESNEL_PROP},
                                             {"FRESNEL_PROP", ADVISE_FRESNEL_PROP},
                                             {"FOURIER_PROP", ADVISE_FOURIER_PROP},
                                             {"ROTATE", ADVISE_ROTATE},
                                             {"EMBED", ADVISE_EMBED},
                                             {"EXTRACT", ADVISE_EXTRACT},
                                             {"RESAMPLE", ADVISE_RESAMPLE},
                                             {"CONJUGATE", ADVISE_CONJUGATE},
                                             {"STEPS", ADVISE_STEPS}};
constexpr Named<PictureQuantity> kQuantities[] = {{"AMPLITUDE", PICTURE_AMPLITUDE}, {"INTENSITY", PICTURE_INTENSITY},
                                                  {"DECIBEL", PICTURE_DECIBEL},     {"PHASE", PICTURE_PHASE},
                                                  {"REAL", PICTURE_REAL},           {"IMAGINARY", PICTURE_IMAGINARY},
                                                  {"COMPLEX", PICTURE_COMPLEX}};
constexpr Named<PictureColours> kColours[] = {{"AUTOMATIC", COLOURS_AUTOMATIC}, {"GREY", COLOURS_GREY},
                                              {"EMBER", COLOURS_EMBER},         {"LAGOON", COLOURS_LAGOON},
                                              {"CYCLE", COLOURS_CYCLE},         {"HUE", COLOURS_HUE},
                                              {"BALANCE", COLOURS_BALANCE},     {"RAINBOW", COLOURS_RAINBOW}};
constexpr Named<PictureFrequencies> kFrequencies[] = {{"PER_MM", FREQUENCIES_PER_MM}, {"DEGREES", FREQUENCIES_DEGREES}};
constexpr Named<PictureValue> kValues[] = {
    {"INTENSITY", PICTURE_VALUE_INTENSITY}, {"AMPLITUDE", PICTURE_VALUE_AMPLITUDE}, {"PHASE", PICTURE_VALUE_PHASE}};
constexpr Named<PicturePhase> kPhases[] = {{"CONSTANT", PICTURE_PHASE_CONSTANT}, {"RANDOM", PICTURE_PHASE_RANDOM}};
constexpr Named<CpuType> kCpus[] = {{"SSE1", CPU_SSE1}};
constexpr Named<DevelopEnv> kEnvironments[] = {{"INTEL", DEVELOP_ENV_INTEL}};
constexpr Named<Platform> kPlatforms[] = {{"X64", PLATFORM_X64}};
} // namespace

void DefineErrors(py::module_&)
{
    SetErrorHandling(ERROR_HANDLING_THROW);
    py::register_exception_translator(
        [](std::exception_ptr thrown)
        {
            try
            {
                if (thrown)
                    std::rethrow_exception(thrown);
            }
            catch (const LumoraException& failure)
            {
                Raise(failure);
            }
        });
}

void DefineEnums(py::module_& m)
{
    DefineEnum(m, "ErrorCode", "Codes of failures.", kErrorCodes);
    DefineEnum(m, "Form", "Domain of a field and form of its samples: cartesian, or polar (amplitude, radians).",
               kForms);
    DefineEnum(m, "Axis", "Direction of an operation along one axis.", kAxes);
    DefineEnum(m, "Interpol", "Interpolation kernel.", kInterpols);
    DefineEnum(m, "WindowFunc", "Weight of a point source's samples over the band of the sampling.", kWindows);
    DefineEnum(m, "Mode", "What a picture shows of a sample, or what a pixel becomes.", kModes);
    DefineEnum(m, "Gradation", "Colours of a picture.", kGradations);
    DefineEnum(m, "FftLib", "Engine of the transforms.", kEngines);
    DefineEnum(m, "CloudMethod", "How a point cloud is computed.", kMethods);
    DefineEnum(m, "CloudFrame", "Coordinates of a point cloud.", kFrames);
    DefineEnum(m, "FocusMeasure", "How sharp a picture is.", kMeasures);
    DefineEnum(m, "StackPropagator", "Which propagation takes a field to the planes of a stack.", kPropagators);
    DefineEnum(m, "MissingSegments", "What a reader makes of a segment that was never written.", kMissing);
    DefineEnum(m, "SegmentedAccess", "How a SegmentedField opens its file.", kAccesses);
    DefineEnum(m, "AdvisedMember", "What a way of the adviser, or a step of it, does.", kMembers);
    DefineEnum(m, "InstructionSet", "What the wide loops run with.", kInstructionSets);
    DefineEnum(m, "PictureQuantity", "What of a sample a picture shows.", kQuantities);
    DefineEnum(m, "PictureColours", "Colour map of a picture.", kColours);
    DefineEnum(m, "PictureFrequencies", "Axes of the picture of a spectrum.", kFrequencies);
    DefineEnum(m, "PictureValue", "What the grey value of a pixel becomes.", kValues);
    DefineEnum(m, "PicturePhase", "Phase of samples whose amplitude comes from a picture.", kPhases);
    DefineEnum(m, "CpuType", "Instruction set that the library needs at least.", kCpus);
    DefineEnum(m, "DevelopEnv", "Family of the compiler.", kEnvironments);
    DefineEnum(m, "Platform", "Platform that the library was built for.", kPlatforms);
}
} // namespace LumoraLib::python
