// What the test programs share: failures as values, random fields, comparisons bit by bit, scratch files, a locale with
// a decimal comma.
#ifndef LML_TESTTOOLS_H
#define LML_TESTTOOLS_H

#include "LmlLumora.h"

#include "base/Isa.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include <clocale>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#if defined(LML_TEST_SANITIZED)
/// The C library keeps what it makes of LOCPATH, which CommaLocale sets.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:__argz_add_sep";
}
/// An allocation that cannot be had comes back as null.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options()
{
    return "allocator_may_return_null=1";
}
#endif

namespace lmltest
{
using namespace LumoraLib;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// What a call reported: code 0 when it came back normally.
struct Failure
{
    int code = 0;
    std::string function;
    std::string message;
    bool operator==(const Failure& o) const { return code == o.code && function == o.function && message == o.message; }
};
inline void PrintTo(const Failure& f, std::ostream* os)
{
    *os << "{" << f.code << ", " << f.function << ", " << f.message << "}";
}

/// A row of a table of calls on a field f, some of which take a number n: the name that a failure carries, and the
/// call.
using CallTable = std::vector<std::pair<const char*, std::function<void(Lumora&, int)>>>;
#define LML_CALL(name, ...)                                                                                            \
    {                                                                                                                  \
        name, []([[maybe_unused]] Lumora& f, [[maybe_unused]] int n)                                                   \
        {                                                                                                              \
            __VA_ARGS__;                                                                                               \
        }                                                                                                              \
    }

/// Runs the call in throw mode and gives what it reported.
template <class Call>
Failure Catch(Call&& call)
{
    const ErrorHandling before = GetErrorHandling();
    SetErrorHandling(ERROR_HANDLING_THROW);
    Failure failure;
    try
    {
        call();
    }
    catch (LumoraException& e)
    {
        failure = {static_cast<int>(e.GetErrorCode()), e.GetFuncname(), e.GetUserMessage()};
    }
    SetErrorHandling(before);
    return failure;
}

/// Thread count and engine choice for a stretch of a test.
class Threads
{
public:
    explicit Threads(int n) : count_(n), before_(GetNumThreads()) { SetNumThreads(n); }
    ~Threads() { SetNumThreads(before_); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
    operator int() const { return count_; }

private:
    int count_;
    int before_;
};
class Engine
{
public:
    explicit Engine(FftLib lib) : lib_(lib), before_(GetFftLib()) { SetFftLib(lib); }
    ~Engine() { SetFftLib(before_); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    operator FftLib() const { return lib_; }

private:
    FftLib lib_;
    FftLib before_;
};
constexpr FftLib kEngines[] = {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR};

/// Settings for the turns of a loop, each for its own turn: for (const Engine engine : EachEngine()).
template <class Setting, class Value>
class Each
{
public:
    explicit Each(std::vector<Value> values) : values_(std::move(values)) {}
    struct Turn
    {
        const Value* at;
        Setting operator*() const { return Setting(*at); }
        bool operator!=(const Turn& o) const { return at != o.at; }
        Turn& operator++() { return ++at, *this; }
    };
    Turn begin() const { return {values_.data()}; }
    Turn end() const { return {values_.data() + values_.size()}; }

private:
    std::vector<Value> values_;
};
inline Each<Engine, FftLib> EachEngine()
{
    return Each<Engine, FftLib>({std::begin(kEngines), std::end(kEngines)});
}
using EachTeam = Each<Threads, int>;

/// The instruction sets of this processor, and one of them as the widest for a stretch of a test.
inline std::vector<detail::Isa> InstructionSets()
{
    std::vector<detail::Isa> all;
    for (const detail::Isa isa : {detail::Isa::Sse2, detail::Isa::Avx2, detail::Isa::Avx512})
        if (isa <= detail::ProcessorIsa())
            all.push_back(isa);
    return all;
}
class Cap
{
public:
    explicit Cap(detail::Isa isa) { detail::CapIsa(isa); }
    ~Cap() { detail::CapIsa(detail::Isa::Avx512); }
    Cap(const Cap&) = delete;
    Cap& operator=(const Cap&) = delete;
};

/// Runs the body at every instruction set.
template <class Body>
void AtEveryIsa(const Body& body)
{
    for (const detail::Isa isa : InstructionSets())
    {
        SCOPED_TRACE("instruction set " + std::to_string(static_cast<int>(isa)));
        const Cap cap(isa);
        body();
    }
}

/// Runs the body with the plain loops, then with the wide ones of every instruction set.
template <class Body>
void InEveryForm(const Body& body)
{
    {
        SCOPED_TRACE("plain");
        const Engine engine(FFT_LIB_SPLIT_RADIX);
        body();
    }
    const Engine engine(FFT_LIB_VENDOR);
    AtEveryIsa(body);
}

/// Samples uniform in [-1, 1) on both members; the same for the same seed everywhere.
inline void FillRandom(Lumora& field, std::uint32_t seed = 1)
{
    std::uint32_t s = seed * 2654435761u + 12345u;
    const auto next = [&s]
    {
        s = s * 1664525u + 1013904223u;
        return static_cast<float>(static_cast<std::int32_t>(s)) * 4.656612873e-10f;
    };
    for (std::size_t n = 0; n < field.N(); ++n)
    {
        const float re = next();
        const float im = next();
        field[n] = Complex(re, im);
    }
}

inline std::uint32_t Bits(float v)
{
    std::uint32_t b;
    std::memcpy(&b, &v, 4);
    return b;
}

/// Equality of all samples bit by bit; tells the first difference.
inline ::testing::AssertionResult SameBits(const Lumora& a, const Lumora& b)
{
    if (a.GetNx() != b.GetNx() || a.GetNy() != b.GetNy())
        return ::testing::AssertionFailure() << "sizes differ";
    const Complex* p = a.GetDataPointer();
    const Complex* q = b.GetDataPointer();
    std::size_t differing = 0;
    std::size_t first = 0;
    for (std::size_t n = 0; n < a.N(); ++n)
        if (Bits(p[n].Real()) != Bits(q[n].Real()) || Bits(p[n].Imag()) != Bits(q[n].Imag()))
            if (differing++ == 0)
                first = n;
    if (differing == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << differing << " of " << a.N() << " samples differ, first " << first << ": ("
                                         << p[first].Real() << ", " << p[first].Imag() << ") and (" << q[first].Real()
                                         << ", " << q[first].Imag() << ")";
}

/// Relative l2 distance of the samples of a from those of b.
inline double RelativeL2(const Lumora& a, const Lumora& b)
{
    double num = 0.0;
    double den = 0.0;
    for (std::size_t n = 0; n < a.N(); ++n)
    {
        const double dr = double(a.GetDataPointer()[n].Real()) - double(b.GetDataPointer()[n].Real());
        const double di = double(a.GetDataPointer()[n].Imag()) - double(b.GetDataPointer()[n].Imag());
        num += dr * dr + di * di;
        den += double(b.GetDataPointer()[n].Real()) * double(b.GetDataPointer()[n].Real()) +
               double(b.GetDataPointer()[n].Imag()) * double(b.GetDataPointer()[n].Imag());
    }
    return std::sqrt(num / den);
}

/// All of a field but its samples, as a text: equal where every number is equal or both are none.
inline std::string Frame(Lumora f)
{
    const LML_RECT& w = f.Window();
    std::string text;
    for (const double number :
         {double(f.GetNx()), double(f.GetNy()), f.GetPx(), f.GetPy(), f.k(), double(f.Form()), double(w.left),
          double(w.right), double(w.bottom), double(w.top), f.GetOrigin().x, f.GetOrigin().y, f.GetOrigin().z,
          f.GetNormalVector().x, f.GetNormalVector().y, f.GetNormalVector().z})
    {
        char digits[32];
        std::snprintf(digits, sizeof digits, "%.17g ", number);
        text += std::isnan(number) ? "nan " : digits;
    }
    return text;
}

inline void ExpectNear(const Vector& v, const Vector& w, double tolerance = 1e-12)
{
    EXPECT_NEAR(v.x, w.x, tolerance);
    EXPECT_NEAR(v.y, w.y, tolerance);
    EXPECT_NEAR(v.z, w.z, tolerance);
}
inline void ExpectNear(const Vector& v, double x, double y, double z, double tolerance = 1e-14)
{
    ExpectNear(v, Vector(x, y, z), tolerance);
}

/// A field whose protected members anyone may call.
struct Open : Lumora
{
    using Lumora::_ConvToComplexForm;
    using Lumora::_ConvToPolarForm;
    using Lumora::Lumora;
    using Lumora::PullForm;
    using Lumora::PushForm;
    Open(const Lumora& f) : Lumora(f) {}
};

constexpr Interpol kInterpolators[] = {LINEAR_INTERPOL,   CUBIC_INTERPOL,   CUBIC4_INTERPOL,  CUBIC6_INTERPOL,
                                       ADJACENT_INTERPOL, BICUBIC_INTERPOL, BILINEAR_INTERPOL};

using Value = std::complex<double>;
inline Value At(const Lumora& f, int i, int j)
{
    return {f.GetReal(i, j), f.GetImag(i, j)};
}

/// The indices (i, j) of a grid, row after row: for (const auto [i, j] : Grid(nx, ny)).
class Grid
{
public:
    Grid(int nx, int ny) : nx_(std::max(nx, 0)), ny_(ny) {}
    explicit Grid(const Lumora& f) : Grid(f.GetNx(), f.GetNy()) {}
    struct Place
    {
        int i, j, nx;
        std::pair<int, int> operator*() const { return {i, j}; }
        bool operator!=(const Place& o) const { return j < o.j; }
        Place& operator++() { return *this = i + 1 < nx ? Place{i + 1, j, nx} : Place{0, j + 1, nx}; }
    };
    Place begin() const { return {0, nx_ == 0 ? ny_ : 0, nx_}; }
    Place end() const { return {0, ny_, nx_}; }

private:
    int nx_, ny_;
};

/// A field whose buffer is the caller's, with samples before and behind it that nobody may touch; `offset` samples
/// behind a 64-byte boundary.
class Fenced
{
public:
    Fenced(int nx, int ny, double px = 1e-6, double py = 1e-6, std::size_t offset = 0)
        : field(0, 0, px, py), all_(std::size_t(nx) * std::size_t(ny) + 2 * kFence + 8, Complex(-77.0, 5.0))
    {
        begin_ = kFence;
        while (reinterpret_cast<std::uintptr_t>(&all_[begin_]) % 64 != 0)
            ++begin_;
        begin_ += offset;
        field.SetNx(nx).SetNy(ny).Init(&all_[begin_]);
        field.SetWindowMax();
    }
    Fenced(const Fenced&) = delete;
    Fenced& operator=(const Fenced&) = delete;
    bool Whole() const
    {
        for (std::size_t n = 0; n < kFence; ++n)
            if (!(all_[begin_ - 1 - n] == Complex(-77.0, 5.0)) || !(all_[all_.size() - 1 - n] == Complex(-77.0, 5.0)))
                return false;
        return true;
    }
    Lumora field;

private:
    static constexpr std::size_t kFence = 512;
    std::vector<Complex> all_;
    std::size_t begin_ = 0;
};

/// A fresh name in the tests' scratch folder, removed at the end.
class ScratchFile
{
public:
    explicit ScratchFile(const std::string& name)
        : path_(std::string(LML_SCRATCH_DIR) + "/" +
                ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() + "." +
                ::testing::UnitTest::GetInstance()->current_test_info()->name() + "." + name)
    {
        for (std::size_t n = std::string(LML_SCRATCH_DIR).size() + 1; n < path_.size(); ++n)
            if (path_[n] == '/')
                path_[n] = '_';
        std::remove(path_.c_str());
    }
    ~ScratchFile() { std::remove(path_.c_str()); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    const char* Path() const { return path_.c_str(); }
    std::string Read() const
    {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    void Write(const std::string& bytes) const
    {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

private:
    std::string path_;
};

/// The bytes of a number as files have them, made by shifts.
inline std::string Le(std::uint64_t value, int bytes)
{
    std::string s;
    for (int n = 0; n < bytes; ++n, value >>= 8)
        s += static_cast<char>(value & 255);
    return s;
}
inline std::string LeF(double value)
{
    return Le(Bits(static_cast<float>(value)), 4);
}
inline std::string LeD(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, 8);
    return Le(bits, 8);
}

/// A locale whose decimal point is a comma; it holds for the object's life. The C library reads a category of a locale
/// from a file of its own: these are the bytes that its compiler makes of `decimal_point ","`.
class CommaLocale
{
public:
    CommaLocale() : folder_(std::filesystem::temp_directory_path() / ("lml-locale." + std::to_string(getpid())))
    {
        std::filesystem::create_directories(folder_ / "comma");
        std::string bytes = Le(0x20031115 ^ LC_NUMERIC, 4) + Le(6, 4);
        for (const unsigned at : {32u, 34u, 35u, 36u, 40u, 44u}) // point, separator, grouping, both wide, character set
            bytes += Le(at, 4);
        bytes += Le(',', 4) + Le(',', 4) + Le(0, 4) + std::string("ANSI_X3.4-1968", 15);
        std::ofstream(folder_ / "comma" / "LC_NUMERIC", std::ios::binary) << bytes;
        setenv("LOCPATH", folder_.c_str(), 1);
        EXPECT_NE(std::setlocale(LC_NUMERIC, "comma"), nullptr);
        EXPECT_EQ(*std::localeconv()->decimal_point, ',');
    }
    ~CommaLocale()
    {
        char own[8];
        std::snprintf(own, sizeof own, "%.1f", 0.5);
        EXPECT_STREQ(own, "0,5") << "the program's own locale is left alone";
        std::setlocale(LC_NUMERIC, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(folder_);
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    std::filesystem::path folder_;
};

/// The samples of columns left ... right - 1, rows bottom ... top - 1 as files have them; without bounds, all.
inline std::string SampleBytes(const Lumora& f, int left, int right, int bottom, int top)
{
    std::string s;
    for (int j = bottom; j < top; ++j)
        for (int i = left; i < right; ++i)
            s += LeF(f.GetPixel(i, j).Real()) + LeF(f.GetPixel(i, j).Imag());
    return s;
}
inline std::string SampleBytes(const Lumora& f)
{
    return SampleBytes(f, 0, f.GetNx(), 0, f.GetNy());
}

/// As much of a path as a failure shows.
inline std::string Shown(const std::string& path)
{
    return path.substr(0, 127);
}

inline ::testing::AssertionResult WindowIs(Lumora f, int left, int right, int bottom, int top)
{
    const LML_RECT& w = f.Window();
    if (w.left == left && w.right == right && w.bottom == bottom && w.top == top)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << w.left << ".." << w.right << ", " << w.bottom << ".." << w.top;
}
inline bool SameRect(const LML_RECT& a, const LML_RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
} // namespace lmltest

#endif
