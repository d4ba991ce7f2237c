// NPY files: a field as an array of NumPy's, samples and sizes alone.
//
// A file: six letters, the version in two bytes, the length of the head (16 bits in version 1, 32 in 2 and 3), the head
// as the text of a Python dictionary, the numbers.
#include "LmlLumora.h"
#include "base/IntMath.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "files/ByteIo.h"
#include "files/FieldFile.h"
#include "files/ImageModes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

namespace LumoraLib
{
namespace
{
using namespace detail;

constexpr std::array<char, 6> kLetters{'\x93', 'N', 'U', 'M', 'P', 'Y'};
constexpr std::size_t kFixedBytes = 10;    // letters, version, length of the head in version 1.0
constexpr std::size_t kAlignment = 64;     // of the first number in what is written
constexpr std::size_t kMostHead = 4096;    // a head of an array without fields takes about a hundred
constexpr std::size_t kBlockBytes = 65536; // of numbers read at once

constexpr char kTextVersion[] = "the version of the NPY file is unknown";
constexpr char kTextHead[] = "the head of the NPY file cannot be understood";
constexpr char kTextNumbers[] = "the array must be little-endian complex64, complex128, float32 or float64";
constexpr char kTextAxes[] = "the array must have one or two axes";

// ---- Numbers -----------------------------------------------------------------------------------------------------

template <class Real, bool kComplex>
void Convert(const Byte* from, Complex* to, std::size_t step, std::size_t count)
{
    constexpr std::size_t width = sizeof(Real) * (kComplex ? 2 : 1);
    for (std::size_t n = 0; n < count; ++n, from += width)
        to[n * step] = Complex(static_cast<double>(Get<Real>(from)),
                               kComplex ? static_cast<double>(Get<Real>(from + width - sizeof(Real))) : 0.0);
}

/// Samples as they stand, with every bit of what is not a number.
void Take(const Byte* from, Complex* to, std::size_t step, std::size_t count)
{
    for (std::size_t n = 0; n < count; ++n)
        std::memcpy(&to[n * step], from + n * sizeof(Complex), sizeof(Complex));
}

/// A kind of numbers: its name in the head, its bytes, and how `count` of them become every `step`-th sample.
struct Numbers
{
    std::string_view name;
    std::size_t bytes;
    void (*convert)(const Byte* from, Complex* to, std::size_t step, std::size_t count);
};
constexpr Numbers kNumbers[] = {{"<c8", 8, Take},
                                {"<c16", 16, Convert<double, true>},
                                {"<f4", 4, Convert<float, false>},
                                {"<f8", 8, Convert<double, false>}};

// ---- Head --------------------------------------------------------------------------------------------------------

/// What the dictionary says.
struct Array
{
    const Numbers* numbers = nullptr;
    bool fortran = false;
    int axes = 0;
    std::array<std::uint64_t, 2> shape{}; // as far as there are axes
};

/// Reads the literals of a Python dictionary from a text, piece by piece. Nothing is taken where a piece is missing.
class Literals
{
public:
    explicit Literals(std::string_view text) : text_(text) {}

    /// The next letter, blanks left out, if it is this one.
    bool Take(char letter)
    {
        SkipBlanks();
        if (text_.empty() || text_.front() != letter)
            return false;
        text_.remove_prefix(1);
        return true;
    }
    bool TakeWord(std::string_view word)
    {
        SkipBlanks();
        if (text_.substr(0, word.size()) != word)
            return false;
        text_.remove_prefix(word.size());
        return true;
    }
    /// A string without escapes.
    std::optional<std::string_view> TakeString()
    {
        const char quote = Take('\'') ? '\'' : Take('"') ? '"' : '\0';
        const std::size_t end = quote == '\0' ? std::string_view::npos : text_.find(quote);
        if (end == std::string_view::npos)
            return std::nullopt;
        const std::string_view string = text_.substr(0, end);
        text_.remove_prefix(end + 1);
        if (string.find('\\') != std::string_view::npos)
            return std::nullopt;
        return string;
    }
    /// A number of up to 18 digits; what Python 2 has written may end in L.
    std::optional<std::uint64_t> TakeNumber()
    {
        SkipBlanks();
        std::uint64_t value = 0;
        std::size_t digits = 0;
        for (; digits < text_.size() && text_[digits] >= '0' && text_[digits] <= '9'; ++digits)
        {
            if (digits == 18)
                return std::nullopt;
            value = 10 * value + static_cast<std::uint64_t>(text_[digits] - '0');
        }
        if (digits == 0)
            return std::nullopt;
        text_.remove_prefix(digits);
        if (!text_.empty() && text_.front() == 'L')
            text_.remove_prefix(1);
        return value;
    }
    bool AtEnd()
    {
        SkipBlanks();
        return text_.empty();
    }

private:
    void SkipBlanks()
    {
        const std::size_t blanks = text_.find_first_not_of(" \t\r\n");
        text_.remove_prefix(std::min(blanks, text_.size()));
    }

    std::string_view text_;
};

/// The sizes in brackets; a comma may follow the last one and must follow a single one.
bool TakeShape(Literals& text, Array& array)
{
    if (!text.Take('('))
        return false;
    bool comma = true;
    while (!text.Take(')'))
    {
        const std::optional<std::uint64_t> size = comma ? text.TakeNumber() : std::nullopt;
        if (!size)
            return false;
        if (array.axes < 2)
            array.shape[static_cast<std::size_t>(array.axes)] = *size;
        ++array.axes;
        comma = text.Take(',');
    }
    return comma || array.axes != 1;
}

/// The dictionary: each of the three keys once, in any order. Null, or what is wrong with it.
const char* ParseHead(std::string_view head, Array& array)
{
    Literals text(head);
    if (!text.Take('{'))
        return kTextHead;
    bool hasNumbers = false, hasOrder = false, hasShape = false;
    bool comma = true;
    while (!text.Take('}'))
    {
        const std::optional<std::string_view> key = comma ? text.TakeString() : std::nullopt;
        if (!key || !text.Take(':'))
            return kTextHead;
        bool good = false;
        if (*key == "descr" && !hasNumbers)
        {
            // Arrays of records have a list here.
            const std::optional<std::string_view> name = text.TakeString();
            const auto* const known = std::find_if(std::begin(kNumbers), std::end(kNumbers),
                                                   [&](const Numbers& n) { return name && n.name == *name; });
            if (known == std::end(kNumbers))
                return kTextNumbers;
            array.numbers = known;
            good = hasNumbers = true;
        }
        else if (*key == "fortran_order" && !hasOrder)
        {
            array.fortran = text.TakeWord("True");
            good = hasOrder = array.fortran || text.TakeWord("False");
        }
        else if (*key == "shape" && !hasShape)
            good = hasShape = TakeShape(text, array);
        if (!good)
            return kTextHead;
        comma = text.Take(',');
    }
    if (!hasNumbers || !hasOrder || !hasShape || !text.AtEnd())
        return kTextHead;
    return array.axes == 1 || array.axes == 2 ? nullptr : kTextAxes;
}

/// Letters, version and dictionary; the position is then that of the first number.
Array ReadHead(File& file, const char* path, const char* fn)
{
    std::array<Byte, kFixedBytes + 2> fixed{};
    eread(file, fixed.data(), kLetters.size() + 2, path);
    if (!std::equal(kLetters.begin(), kLetters.end(), fixed.begin(),
                    [](char letter, Byte byte) { return static_cast<Byte>(letter) == byte; }))
        Error(ERR_FILE_OPEN, fn, path);
    const Byte version = fixed[kLetters.size()];
    if (version < 1 || version > 3 || fixed[kLetters.size() + 1] != 0)
        Error(ERR_FILE_READ, fn, kTextVersion);
    Byte* const length = fixed.data() + kLetters.size() + 2;
    eread(file, length, version == 1 ? 2 : 4, path);
    const std::uint32_t bytes = version == 1 ? Get<std::uint16_t>(length) : Get<std::uint32_t>(length);
    if (bytes > kMostHead)
        Error(ERR_FILE_READ, fn, kTextHead);
    std::array<char, kMostHead> head;
    eread(file, head.data(), bytes, path);
    Array array;
    if (const char* const wrong = ParseHead({head.data(), bytes}, array))
        Error(ERR_FILE_READ, fn, wrong);
    return array;
}

// ---- Samples -----------------------------------------------------------------------------------------------------

/// Reads `lines` lines of `length` numbers; line n begins at sample corner + n * lineStep and goes on in steps.
/// False where the file ends before.
bool ReadLines(File& file, const Numbers& numbers, Complex* corner, std::size_t lines, std::size_t lineStep,
               std::size_t length, std::size_t step, const char* fn)
{
    alignas(64) std::array<Byte, kBlockBytes> block;
    const std::size_t most = kBlockBytes / numbers.bytes;
    Progress progress(fn, static_cast<std::int64_t>(lines * length));
    for (std::size_t line = 0; line < lines; ++line)
        for (std::size_t at = 0; at < length; at += most)
        {
            progress.Step(static_cast<std::int64_t>(line * length + at));
            const std::size_t want = std::min(most, length - at);
            const std::size_t got = static_cast<std::size_t>(ReadMost(file, block.data(), want * numbers.bytes));
            numbers.convert(block.data(), corner + line * lineStep + at * step, step, got / numbers.bytes);
            if (got != want * numbers.bytes)
                return false;
        }
    return true;
}

void Save(const Lumora& field, const LML_RECT& window, const char* path, const char* fn)
{
    if (field.IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, path);
    FieldAccess::RequireSamples(field, fn);
    File file(path, "w+b");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    const std::int32_t columns = std::max(window.right - window.left, 0);
    const std::int32_t rows = std::max(window.top - window.bottom, 0);
    // Blanks fill the head, so that the numbers begin at a multiple of 64 bytes.
    std::array<Byte, 2 * kAlignment> head;
    head.fill(' ');
    std::copy(kLetters.begin(), kLetters.end(), head.begin());
    head[6] = 1;
    head[7] = 0;
    Put(head.data() + 8, static_cast<std::uint16_t>(head.size() - kFixedBytes));
    std::array<char, head.size() - kFixedBytes> text;
    const int length = std::snprintf(text.data(), text.size(),
                                     "{'descr': '<c8', 'fortran_order': False, 'shape': (%d, %d), }", rows, columns);
    std::copy_n(text.data(), length, head.begin() + kFixedBytes);
    head.back() = '\n';
    ewrite(file, head.data(), head.size(), path);
    const std::size_t left = static_cast<std::size_t>(window.left);
    const std::size_t bottom = static_cast<std::size_t>(window.bottom);
    for (std::size_t j = 0; j < static_cast<std::size_t>(rows) && columns != 0; ++j)
        ewrite(file, field.GetDataPointer() + field.IJ(left, bottom + j),
               static_cast<std::uint64_t>(columns) * sizeof(Complex), path);
    file.Close(path);
}
} // namespace

void Lumora::SaveNpy(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveNpy";
    Save(*this, WholeGrid(*this), path, fn);
}

void Lumora::WinSaveNpy(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::WinSaveNpy";
    Save(*this, GridWindow(), path, fn);
}

Lumora& Lumora::LoadNpy(const char* path)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadNpy";
    File file(path, "rb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    const Array array = ReadHead(file, path, fn);
    const std::uint64_t rows = array.axes == 1 ? 1 : array.shape[0];
    const std::uint64_t columns = array.axes == 1 ? array.shape[0] : array.shape[1];
    // The numbers must be there: a raised grid then takes less than four samples for each of them.
    constexpr std::uint64_t largest = std::uint64_t{1} << 30;
    if (rows > largest || columns > largest || !FitsInFile(file, file.Tell(), rows * columns, array.numbers->bytes))
        Error(ERR_FILE_READ, "eread", path);
    const std::int32_t nx = static_cast<std::int32_t>(columns);
    const std::int32_t ny = static_cast<std::int32_t>(rows);
    RemakeGrid(*this, nx, ny);
    FieldAccess::SetPolar(*this, false);
    if (nx == 0 || ny == 0)
        return SetWindowMax();
    const std::int32_t x0 = (nx_ - nx) / 2;
    const std::int32_t y0 = (ny_ - ny) / 2;
    window_.left = x0;
    window_.right = x0 + nx;
    window_.bottom = y0;
    window_.top = y0 + ny;
    FillSamples(dataPointer_, N(), Complex());
    Complex* const corner = dataPointer_ + Index(x0, y0);
    const std::size_t width = static_cast<std::size_t>(nx_);
    const bool all = array.fortran ? ReadLines(file, *array.numbers, corner, columns, 1, rows, width, fn)
                                   : ReadLines(file, *array.numbers, corner, rows, width, columns, 1, fn);
    if (!all)
        Error(ERR_FILE_READ, "eread", path);
    return *this;
}
} // namespace LumoraLib
