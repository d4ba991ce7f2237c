// What an exception says: its text in UTF-8, the values behind the last failure of the thread, and the cure.
//
// Everything here stands in fixed buffers of the calling thread: describing a lack of memory must not need memory.
#include "base/Describe.h"
#include "base/FieldAccess.h"
#include "base/TextLocale.h"
#include "base/Texts.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <string_view>

namespace LumoraLib
{
namespace
{
constexpr std::size_t kWhat = 512;       // name, code and message with every character three bytes long
constexpr std::size_t kValues = 256;     // one detail
constexpr std::size_t kDescribed = 1280; // both and the longest cure
constexpr std::size_t kWhatBuffers = 4;

/// Text appended to a fixed array, cut at its end and always terminated.
class Text
{
public:
    Text(char* begin, std::size_t bytes) : begin_(begin), room_(bytes - 1) { *begin = '\0'; }

    Text& operator<<(std::string_view text)
    {
        const std::size_t length = std::min(text.size(), room_ - used_);
        std::copy_n(text.data(), length, begin_ + used_);
        used_ += length;
        begin_[used_] = '\0';
        return *this;
    }
    Text& operator<<(double value)
    {
        char digits[32];
        detail::FormatC(digits, sizeof digits, "%.10g", value);
        return *this << digits;
    }

private:
    char* begin_;
    std::size_t room_;
    std::size_t used_ = 0;
};

// ---------------------------------------------------------------------------------------------------- UTF-8

struct Conversion
{
    std::string_view shiftJis;
    std::string_view utf8;
};
constexpr Conversion kConversions[] = {
    {detail::kTextOtherPlane, "異なった平面にある"},
    {detail::kTextOtherPitch, "ピッチが異なっている"},
    {detail::kTextOtherNormal, "法線ベクトルが異なる"},
    {detail::kTextNoOptionHead, "OptionHeadは使えない"},
    {detail::kTextTargetIsSpectrum, "読み込み先のオブジェクトがフーリエ空間にある"},
    {detail::kTextMaxBelowMin, "maxがminより小さい"},
};

/// Length of the UTF-8 character at the beginning of the text, 0 where there is none.
std::size_t Utf8Length(std::string_view text)
{
    const auto byte = [text](std::size_t n)
    {
        return static_cast<unsigned>(static_cast<unsigned char>(text[n]));
    };
    const unsigned first = byte(0);
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    for (std::size_t n = 1; n < length; ++n)
        if ((byte(n) & 0xC0u) != 0x80u)
            return 0;
    // Overlong forms, surrogates, and what lies beyond the last character.
    const bool wrong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                       (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F);
    return wrong ? 0 : length;
}

/// Appends a text of an exception. The library's own messages may stand behind a path.
void AppendUtf8(Text& to, std::string_view text)
{
    while (!text.empty())
    {
        const auto* const own =
            std::find_if(std::begin(kConversions), std::end(kConversions),
                         [text](const auto& c) { return text.substr(0, c.shiftJis.size()) == c.shiftJis; });
        if (own != std::end(kConversions))
        {
            to << own->utf8;
            text.remove_prefix(own->shiftJis.size());
            continue;
        }
        const std::size_t length = Utf8Length(text);
        to << (length == 0 ? std::string_view("?") : text.substr(0, length));
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
}

void AppendWhat(Text& to, const LumoraException& failure)
{
    char code[16];
    detail::FormatC(code, sizeof code, "%d", failure.GetErrorCode());
    AppendUtf8(to, failure.GetFuncname());
    to << ": ";
    AppendUtf8(to, failure.GetSystemMessage());
    to << " (code " << code << ")";
    if (*failure.GetUserMessage() != '\0')
    {
        to << ": ";
        AppendUtf8(to, failure.GetUserMessage());
    }
}

// --------------------------------------------------------------------------------------------------- values

/// The values of a failure: first waiting for Error(), then kept with the mark of their exception.
struct Details
{
    bool waiting;
    char next[kValues];
    std::uint64_t mark;
    char last[kValues];
};
thread_local Details details;

/// Tells exceptions apart by what they carry; never 0.
std::uint64_t MarkOf(const LumoraException& failure)
{
    std::uint64_t mark = 14695981039346656037u + static_cast<std::uint32_t>(failure.GetErrorCode());
    for (const char* text : {failure.GetFuncname(), failure.GetUserMessage()})
        for (const char* c = text;; ++c)
        {
            mark = (mark ^ static_cast<unsigned char>(*c)) * 1099511628211u;
            if (*c == '\0')
                break;
        }
    return mark | 1u;
}

/// Appends "The <name> is <own> in this field and <other> in the other one."; tells whether it did.
template <class Value>
int Compare(Text& text, const char* name, Value own, Value other, double unit, const char* unitName)
{
    if (own == other)
        return 0;
    text << "The " << name << " is " << static_cast<double>(own) * unit << unitName << " in this field and "
         << static_cast<double>(other) * unit << unitName << " in the other one. ";
    return 1;
}

void AppendVector(Text& text, const Vector& v, double unit)
{
    text << "(" << v.x * unit << ", " << v.y * unit << ", " << v.z * unit << ")";
}

int CompareVectors(Text& text, const char* name, const Vector& own, const Vector& other, double unit,
                   const char* unitName)
{
    if (own == other)
        return 0;
    text << "The " << name << " is ";
    AppendVector(text, own, unit);
    text << unitName << " in this field and ";
    AppendVector(text, other, unit);
    text << unitName << " in the other one. ";
    return 1;
}

// ---------------------------------------------------------------------------------------------------- cures

/// A row answers for a code (ERR_NONE: any), an operation and a message; null: any. Operations are written without
/// "LumoraLib::", a '*' at the end stands for the rest of the name. The first row that fits counts, so rows go from the
/// particular to the general, and the last ones have no operation.
struct Cure
{
    ErrorCode code;
    const char* function;
    const char* message;
    const char* cure;
};

constexpr char kSameGrid[] = "Give both fields the same numbers of samples (Embed, Extract, ResamplingCopy).";
constexpr char kToReal[] = "The field is a spectrum: bring it back with Fft(1) first.";
constexpr char kToSpectrum[] = "The field is no spectrum: transform it with Fft(-1) first.";
constexpr char kToCartesian[] = "Convert the samples first: ConvToComplexForm().";
constexpr char kOneWay[] = "Give both fields the same domain: Fft(-1) makes a spectrum, Fft(1) brings it back.";
constexpr char kSameNormal[] =
    "The planes must be parallel: turn the field with Rotate first, or set the normal vectors alike.";
constexpr char kNotOpened[] = "Check that folder and file exist, may be opened, and that the file is of this kind.";
constexpr char kBrokenFile[] =
    "The file is cut short, damaged, or of another kind: check where it comes from, and write it again.";
constexpr char kPicture[] = "The picture must be an uncompressed BMP of 8 or 4 bits per pixel: save it as one.";
constexpr char kOtherLoader[] =
    "Single files are read by LoadLm, multi-part ones by LoadMpLm, segmented ones by LoadSegLm.";
constexpr char kOneRow[] = "The operation is for fields of one row: Ny must be 1.";
constexpr char kWrongForm[] =
    "Point sources are added to cartesian real-space samples: Fft(1) or ConvToComplexForm() first.";
constexpr char kIndex[] = "Indices run from 0 to one below the number of points.";
constexpr char kMorePoints[] = "A plane needs three points that are not on one line.";

constexpr Cure kCures[] = {
    // Messages that say the same wherever they come from.
    {ERR_SOMETHING, nullptr, "the grid has no samples yet: Init must come first",
     "The sizes of the field were changed without samples for them, or a transform needs sizes that are powers of two: "
     "call Init() after setting the sizes."},
    {ERR_NONE, nullptr, detail::kTextNoOptionHead, "Pass null: the record is reserved, and no operation writes one."},
    {ERR_NONE, nullptr, detail::kTextMaxBelowMin, "Pass the smaller value as min and the larger one as max."},
    {ERR_NONE, nullptr, detail::kTextTargetIsSpectrum,
     "Load into a field in real space: Fft(1), or a new field, first."},
    {ERR_NONE, nullptr, detail::kTextOtherPlane,
     "The two fields must lie on one plane: propagate or Rotate the source to it first, or set origin and normal "
     "alike."},
    {ERR_NONE, nullptr, detail::kTextOtherPitch, "Use ResamplingAdd or ResamplingMultiply, which take any pitch."},
    {ERR_NONE, nullptr, detail::kTextOtherNormal, kSameNormal},
    {ERR_NONE, nullptr, "normal vector of the destination is not same as the source", kSameNormal},
    {ERR_NONE, nullptr, "the destination wavelength is different from the source",
     "Set both wavelengths alike; light does not change its wavelength on its way."},
    {ERR_NONE, nullptr, "the source is a spectrum", kToReal},
    {ERR_NONE, nullptr, "the destination is a spectrum", kToReal},
    {ERR_PARAMETER, "Advise", "sizes and pitches must be above zero",
     "Give both grids sizes of 1 to 2^29 samples, pitches above 0, finite places, and the source a wavelength."},
    {ERR_PARAMETER, "Advise", "options are out of range", "The tolerance is 1e-4 to 0.5, and memory is not negative."},
    {ERR_PARAMETER, "FollowAdvice", "the way has no steps", "Follow a way whose steps are given: Advice::Taken()."},
    {ERR_PARAMETER, "FollowAdvice", "the way leads to another grid",
     "Follow the advice with the destination that it was asked for."},
    {ERR_PARAMETER, "PropagateTo", nullptr,
     "Read the remedies of Advise(), raise the tolerance, or set bestEffort to take the best way all the same."},
    {ERR_NONE, nullptr, "both objects must be in real space", kToReal},
    {ERR_NONE, nullptr, "both objects are in real space", kToReal},
    {ERR_NONE, nullptr, "object is in real space", kToReal},
    {ERR_NONE, nullptr, "number of point is not enough", kMorePoints},
    {ERR_NONE, nullptr, "no point in the object", "Add points first: Insert, SetPoint."},
    {ERR_NONE, nullptr, "iterations, feedback or distance out of range",
     "iterations are 0 or more, feedback lies in 0 to 1, and the distance is finite."},
    {ERR_NONE, nullptr, "out of range", kIndex},
    {ERR_NONE, nullptr, "index is out of range", kIndex},
    {ERR_NONE, nullptr, "Stack size over", "Every push needs its pop: more than 33 are open."},
    {ERR_NONE, nullptr, "Stack size under", "There was no push before this pop."},
    {ERR_NONE, nullptr, "unsupported pixel kernel", "The kernels are 4, 6, 8 and 9."},
    {ERR_NONE, nullptr, "unable to use in current version", "Choose one of the interpolators of the list at Interpol."},
    {ERR_NONE, nullptr, "designated WindowFunc is not implemented at this version. ",
     "AddSphericalWave and SetSphericalWave take the rectangle, triangle and cosine windows, the table and recurrence "
     "forms the rectangle or none."},
    {ERR_NONE, nullptr, "CosA and CosB must be direction cosine",
     "Direction cosines lie in -1 to 1, and the sum of their squares is at most 1."},
    {ERR_NONE, nullptr, "out of range of epsilon", "epsilon is half a step at most: 0 to 0.5."},
    {ERR_NONE, nullptr, "Window size",
     "Both windows must have the same width and height: SetWindow, or SetWindowCommon for the common part."},
    {ERR_NONE, nullptr, "User-Defined buffer is too small",
     "Pass a buffer of at least Nx * Ny samples, or null for memory of the library's own."},
    {ERR_NONE, nullptr, "cancelled", "The progress handler asked for the end: nothing is to be mended."},
    {ERR_NONE, nullptr, "an axis is longer than a transform takes (2^29 samples)",
     "Cut the field into pieces: ExtractWindow, or a segmented file."},
    {ERR_NONE, nullptr, "is not a finite number", "Mend or leave out that point; points count from 0."},
    {ERR_NONE, nullptr, "lies in the plane of the field",
     "Move that point off the plane by a wavelength or so, or leave it out; points count from 0."},
    {ERR_NONE, nullptr, "lies too far from the plane of the field", "Check the unit of the points: metres are meant."},
    {ERR_NONE, nullptr, "a segment needs samples: set the sizes and call Init first", "Or load the segment first."},
    {ERR_NONE, nullptr, "the grid is empty: give both Nx and Ny a size", "SetNx, SetNy and Init make the samples."},
    {ERR_NONE, nullptr, "no such measure", "The measures are those of FocusMeasure."},
    {ERR_NONE, nullptr, "the file was opened for reading", "Open it with SEGMENTED_UPDATE to write into it."},
    {ERR_NONE, nullptr, "this engine takes the whole field in memory",
     "Allow as much memory, or take the library's own fast engine: SetFftLib(FFT_LIB_VENDOR)."},
    {ERR_NONE, nullptr, "a segment is missing",
     "Save it first, or have missing segments read as zeros (MISSING_ZERO)."},
    {ERR_NONE, nullptr, "the source lacks segments",
     "Save them first, or have missing segments read as zeros (MISSING_ZERO)."},
    {ERR_NONE, nullptr, "no segment has been saved into the file yet: its sizes are unknown",
     "Save a segment first, or make the file with SegmentedField::Create, which states them."},
    {ERR_NONE, nullptr, "the whole sizes must be powers of two",
     "Choose numbers of segments and samples whose products are powers of two."},
    {ERR_NONE, nullptr, "FFT mode", "The sign is -1 for the transform and 1 for the way back."},
    {ERR_NONE, nullptr, "no method fits the memory and the tolerance",
     "Raise CloudOptions::memory, or leave it 0, or ask for a larger tolerance."},
    {ERR_NONE, nullptr, "Dscriptor error",
     "Make the descriptor with this field's GetWavelength() (the number given to Lumora may differ in the last bit) "
     "and its Px for both pitches."},
    {ERR_NONE, nullptr, "descriptor is not compatible",
     "Make the descriptor for this distance, these pitches and sizes; IsCompatibleWith tells before the call."},
    {ERR_NONE, nullptr, "ScaledFftDescriptor is not compatible", "Make the descriptor for this field's sizes."},
    {ERR_NONE, nullptr, "this object must be 1 dimensional", kOneRow},
    {ERR_NONE, nullptr, "n must be positive value", "n is 0 to 28."},
    {ERR_NONE, nullptr, "precision must be more than zero",
     "Precision 1 doubles the grid on the way; 2 and more cost memory."},
    {ERR_NONE, nullptr, "InitSphericalWaveSQR() must be prior to this function",
     "Call InitSphericalWaveSQR() once first."},
    {ERR_NONE, nullptr, "InitSphericalWaveRF() must be prior to this function",
     "Call InitSphericalWaveRF() once first."},
    {ERR_NONE, nullptr, "incorrect form", kWrongForm},
    {ERR_NONE, nullptr, ":incorrect form", kWrongForm},
    {ERR_NONE, nullptr, "the line is parallel to the plane", "They do not meet: IsParallel tells before the call."},
    {ERR_NONE, nullptr, "argumented plane is parallel to this plane",
     "They have no line in common: IsParallel tells before the call."},
    // Operations.
    {ERR_PARAMETER, "Lumora::ShiftedAsmProp", "at least one parameter is different",
     "Wavelength, numbers of samples and pitches must agree: for another pitch use ShiftedFresnelProp, which takes "
     "any, "
     "or bring the source to this one with ResamplingCopy first; for other sizes ShiftedAsmPropEx."},
    {ERR_PARAMETER, "Lumora::ShiftedAsmPropAdd", "at least one parameter is different",
     "Wavelength and numbers of samples must agree: for other sizes use ShiftedAsmPropAddEx."},
    {ERR_PARAMETER, "Lumora::ShiftedFresnelProp*", "at least one parameter is different",
     "Wavelength and numbers of samples must agree (the pitches need not): for other sizes use "
     "ShiftedFresnelPropAddEx."},
    {ERR_PARAMETER, "Lumora::ShiftedFresnelProp1d", nullptr,
     "Both fields must have one row, the same number of samples and the same wavelength."},
    {ERR_PARAMETER, "Lumora::operator*", nullptr, kSameGrid},
    {ERR_PARAMETER, "Lumora::SetWindow", nullptr,
     "Bounds lie in 0 to Nx and 0 to Ny, the upper ones exclusive; SetWindowMax() takes the whole field."},
    {ERR_PARAMETER, "SetNumThreads", nullptr,
     "Pass 1 or more, or no argument for as many threads as there are processors."},
    {ERR_PARAMETER, "Lumora::ImageRotation", nullptr, "n counts quarter turns: 1, 2 or 3."},
    {ERR_PARAMETER, "Lumora::Embed", nullptr,
     "The number of doublings must not be negative; Extract goes the other way."},
    {ERR_PARAMETER, "Lumora::Extract", nullptr,
     "The number of halvings must not be negative, and at least one sample must be left."},
    {ERR_PARAMETER, "Lumora::ReduceByAverage", nullptr,
     "The exponents must not be negative, and the blocks must be smaller than the field."},
    {ERR_PARAMETER, "Lumora::Subdivide", nullptr, "The exponent must not be negative."},
    {ERR_PARAMETER, "Lumora::Replicate", nullptr, "The exponent must not be negative."},
    {ERR_PARAMETER, "Lumora::Pixelation", nullptr, "The exponent must not be negative."},
    {ERR_PARAMETER, "Lumora::EnlargeZeroFill", nullptr, "The exponent must not be negative."},
    {ERR_PARAMETER, "Lumora::PaintTriangle", nullptr, "Pass exactly three points."},
    {ERR_PARAMETER, "Lumora::SetRandomPhase", nullptr, kToReal},
    {ERR_PARAMETER, "Lumora::ModRandomPhase", nullptr, kToReal},
    {ERR_PARAMETER, "Lumora::RotateYFs", nullptr, kToSpectrum},
    {ERR_PARAMETER, "Lumora::RotateSpec1d", nullptr,
     "The operation is for cartesian spectra of one row: Fft(-1) first."},
    {ERR_PARAMETER, "Lumora::Rotate1d", nullptr, "The operation is for cartesian fields of one row in real space."},
    {ERR_PARAMETER, "Lumora::LinearInterpol1d", nullptr, kOneRow},
    {ERR_PARAMETER, "Lumora::CubicInterpol1d", nullptr, kOneRow},
    {ERR_PARAMETER, "Lumora::SincInterpol1d", nullptr, kOneRow},
    {ERR_PARAMETER, "Lumora::RawScaledFft1d", nullptr, kOneRow},
    {ERR_PARAMETER, "SqrMatrix::operator*", nullptr, "Both matrices must have the same order."},
    {ERR_PARAMETER, "RMatrix::Copy", nullptr, "A rotation takes matrices of order 3 only."},
    {ERR_PARAMETER, "Lumora::Get*", nullptr, kOneWay},
    {ERR_PARAMETER, "Lumora::Rotate*", nullptr, kOneWay},
    {ERR_PARAMETER, "Lumora::MultiplyFileLW", nullptr, kToCartesian},
    {ERR_PARAMETER, "Lumora::SuperimposeFile*", nullptr, kToReal},
    {ERR_PARAMETER, "Lumora::LoadCSV", nullptr,
     "The field must not be a spectrum; the file begins with \"Nx,Ny\" and has a line \"re,im\" for each sample."},
    {ERR_PARAMETER, "Lumora::SaveAsText", nullptr, "The row is 0 to Ny - 1."},
    {ERR_PARAMETER, "Lumora::SaveAsCsv", nullptr, "The row is 0 to Ny - 1, the column 0 to Nx - 1."},
    {ERR_PARAMETER, "Lumora::LoadDE", nullptr, kToReal},
    {ERR_NONE, nullptr, "index is too large",
     "Parts and segments count from 0; GetSizeMpLm and GetSizeSegLm tell how many there are."},
    {ERR_PARAMETER, "*Lm", nullptr,
     "Part, segment and sizes must be those that the file was made for; CreateFileMpLm and CreateFileSegLm make a new "
     "one."},
    {ERR_SOMETHING, "Plane::Get*", nullptr, "The plane does not determine this coordinate: choose another one."},
    {ERR_SPECTRUM_OR_AMPLITUDE, "Lumora::*Fs", nullptr, kToSpectrum},
    {ERR_SPECTRUM_OR_AMPLITUDE, "Lumora::GetRotation*", nullptr, kToSpectrum},
    {ERR_SPECTRUM_OR_AMPLITUDE, "Lumora::SPWPropFsTbl", nullptr, kToSpectrum},
    {ERR_SPECTRUM_OR_AMPLITUDE, "Lumora::Load*", nullptr,
     "Pictures do not load into cartesian spectra: Fft(1), or a new field, first."},
    {ERR_COMPLEX_FORM, "Lumora::SaveAs*", nullptr, kToCartesian},
    {ERR_FILE_READ, "Lumora::LoadNpy", "the array must be little-endian complex64, complex128, float32 or float64",
     "Convert the array before saving it: numpy.save(path, array.astype('<c8'))."},
    {ERR_FILE_READ, "Lumora::LoadNpy", "the array must have one or two axes",
     "Save one plane of the array, of the shape (rows, columns)."},
    {ERR_FILE_READ, "Lumora::LoadNpy", nullptr, "The file is no array as numpy.save writes it: save it again."},
    {ERR_FILE_READ, "Lumora::LoadBmp", nullptr, kPicture},
    {ERR_FILE_READ, "Lumora::LoadBMP", nullptr, kPicture},
    {ERR_NONE, nullptr, "this is not LM format", "The file is no LM container: check where it comes from."},
    {ERR_NONE, nullptr, "wrong format", "The file is no DE file: check where it comes from."},
    {ERR_NONE, nullptr, "multi-part LM file must be pre-created", "Call CreateFileMpLm() first."},
    {ERR_NONE, nullptr, "segmentated LM file must be pre-created", "Call CreateFileSegLm() first."},
    {ERR_NONE, nullptr, "multi-part/segmentation type LM format", kOtherLoader},
    {ERR_NONE, nullptr, "this is a single-part LM file", kOtherLoader},
    {ERR_NONE, nullptr, "this is segmentation-type LM file", kOtherLoader},
    {ERR_NONE, nullptr, "this is a not segmented LM file", kOtherLoader},
    {ERR_FILE_OPEN, "Start", nullptr, "Check that the folder of the log exists and may be written, or pass null."},
    // The codes.
    {ERR_MEMORY, nullptr, nullptr,
     "Use smaller fields, fewer threads (each has working memory of its own) or a machine with more memory; every "
     "field "
     "takes 8 bytes a sample."},
    {ERR_FILE_OPEN, nullptr, nullptr, kNotOpened},
    {ERR_PARAMETER, nullptr, nullptr, "Compare the arguments with what the operation's documentation asks for."},
    {ERR_FILE_WRITE, nullptr, nullptr, "Check the free space of the disk; what stands in the file is not complete."},
    {ERR_FILE_READ, nullptr, nullptr, kBrokenFile},
    {ERR_SOMETHING, nullptr, nullptr,
     "Compare the state of the objects with what the operation's documentation asks for."},
    {ERR_COMPLEX_FORM, nullptr, nullptr, kToCartesian},
    {ERR_SPECTRUM_OR_AMPLITUDE, nullptr, nullptr, kToReal},
    {ERR_INTERNAL, nullptr, nullptr, "This should not happen: report it with the call that led to it."},
};

/// One '*' in the pattern stands for any text.
bool Fits(std::string_view pattern, std::string_view name)
{
    const std::size_t star = pattern.find('*');
    if (star == std::string_view::npos || pattern == name)
        return pattern == name;
    const std::string_view head = pattern.substr(0, star);
    const std::string_view tail = pattern.substr(star + 1);
    return name.size() >= head.size() + tail.size() && name.substr(0, head.size()) == head &&
           name.substr(name.size() - tail.size()) == tail;
}

std::string_view CureOf(const LumoraException& failure)
{
    constexpr std::string_view kNamespace = "LumoraLib::";
    std::string_view name = failure.GetFuncname();
    if (name.substr(0, kNamespace.size()) == kNamespace)
        name.remove_prefix(kNamespace.size());
    // A message may stand behind the path of the file.
    const std::string_view message = failure.GetUserMessage();
    const auto says = [message](std::string_view text)
    {
        return message.size() >= text.size() && message.substr(message.size() - text.size()) == text;
    };
    for (const Cure& row : kCures)
        if ((row.code == ERR_NONE || row.code == failure.GetErrorCode()) &&
            (row.function == nullptr || Fits(row.function, name)) && (row.message == nullptr || says(row.message)))
            return row.cure;
    return "The failure was reported with a code of the program's own.";
}
} // namespace

// ---------------------------------------------------------------------------------------------------- inside

const char* detail::Explained(const char* message, const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    details.waiting = VFormatC(details.next, sizeof details.next, format, args) >= 0;
    va_end(args);
    return message;
}

int detail::DescribeDifference(char* text, std::size_t bytes, const Lumora& own, const Lumora& other,
                               std::uint32_t compared)
{
    Text to(text, bytes);
    const double pitch = own.IsSpectrum() ? 1.0 : 1e6;
    const char* const pitchUnit = own.IsSpectrum() ? " 1/m" : " um";
    int count = 0;
    if (compared & COMPARED_SIZES)
    {
        count += Compare(to, "number of columns", own.GetNx(), other.GetNx(), 1.0, "");
        count += Compare(to, "number of rows", own.GetNy(), other.GetNy(), 1.0, "");
    }
    if (compared & COMPARED_PITCHES)
    {
        count += Compare(to, "pitch in x", own.GetPx(), other.GetPx(), pitch, pitchUnit);
        count += Compare(to, "pitch in y", own.GetPy(), other.GetPy(), pitch, pitchUnit);
    }
    if (compared & COMPARED_WAVELENGTHS)
        count += Compare(to, "wavelength", own.GetWavelength(), other.GetWavelength(), 1e9, " nm");
    if (compared & COMPARED_WINDOWS)
    {
        const LML_RECT& a = FieldAccess::Window(own);
        const LML_RECT& b = FieldAccess::Window(other);
        count +=
            Compare(to, "width of the window", std::int64_t{a.right} - a.left, std::int64_t{b.right} - b.left, 1.0, "");
        count += Compare(to, "height of the window", std::int64_t{a.top} - a.bottom, std::int64_t{b.top} - b.bottom,
                         1.0, "");
    }
    if (compared & (COMPARED_NORMALS | COMPARED_PLANES))
        count += CompareVectors(to, "normal vector", own.GetNormalVector(), other.GetNormalVector(), 1.0, "");
    if (compared & COMPARED_PLANES)
        count += CompareVectors(to, "origin", own.GetOrigin(), other.GetOrigin(), 1e3, " mm");
    return count;
}

const char* detail::Differing(const char* message, const Lumora& own, const Lumora& other, std::uint32_t compared)
{
    details.waiting = DescribeDifference(details.next, sizeof details.next, own, other, compared) != 0;
    return message;
}

void detail::KeepDetail(const LumoraException& failure) noexcept
{
    details.last[0] = '\0';
    if (details.waiting)
        std::memcpy(details.last, details.next, sizeof details.last);
    details.waiting = false;
    details.mark = MarkOf(failure);
}

// ---------------------------------------------------------------------------------------------------- public

const char* LumoraException::what() const noexcept
{
    thread_local char buffers[kWhatBuffers][kWhat];
    thread_local std::size_t next;
    char* const buffer = buffers[next];
    next = (next + 1) % kWhatBuffers;
    Text text(buffer, kWhat);
    AppendWhat(text, *this);
    return buffer;
}

const char* DescribeError(const LumoraException& failure) noexcept
{
    thread_local char buffer[kDescribed];
    Text text(buffer, sizeof buffer);
    AppendWhat(text, failure);
    text << ". ";
    if (details.mark == MarkOf(failure) && details.last[0] != '\0')
    {
        std::string_view values = details.last;
        while (!values.empty() && values.back() == ' ')
            values.remove_suffix(1);
        text << values << " ";
    }
    text << CureOf(failure);
    return buffer;
}
} // namespace LumoraLib
