// The fuzz drivers of the library: one program, one table of targets. `--target=NAME` chooses, `--seeds=FOLDER` writes
// inputs to start from with the library's own writers and ends.
//
// An input ends in a violation of the sanitizers, an exception that is not the library's, or one of the checks here.

#include "Operations.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace
{
using namespace lmltest;
using Input = std::basic_string_view<std::uint8_t>;

void Require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}

const std::string& TheFolder()
{
    static const MemoryFolder folder;
    return folder.Path();
}

void WriteFile(const char* path, Input bytes)
{
    std::FILE* const out = std::fopen(path, "wb");
    Require(out != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size() && std::fclose(out) == 0,
            "the input file cannot be written");
}

std::basic_string<std::uint8_t> ReadFile(const char* path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Runs a call, whose only way to fail is the library's exception; tells whether it came back.
template <class Call>
bool Passes(Call&& call)
{
    try
    {
        call();
        return true;
    }
    catch (const LumoraException& e)
    {
        Require(e.GetErrorCode() >= 1 && e.GetErrorCode() <= 9 && *e.GetFuncname() != '\0', "a failure without a name");
        return false;
    }
}

struct Stack : Lumora
{
    Stack() : Lumora(0, 0) {}
    bool IsEmpty()
    {
        return !Passes([this] { PullForm(); });
    }
};

void Examine(const Lumora& field)
{
    const char* const wrong = Inconsistency(field);
    Require(wrong == nullptr, wrong);
}

/// A load of the input, whose last two bytes choose the field that takes it. A file asks for no more than 256 MiB or
/// 128 bytes for each of its own.
using Load = void (*)(Lumora&, const char* path, int choice);
template <Load load>
void LoadFile(Input input)
{
    if (input.size() < 2)
        return;
    Bench t(TheFolder(), nullptr, 0);
    const int choice = input[input.size() - 1];
    const int kind = input[input.size() - 2];
    input.remove_suffix(2);
    alignas(64) static std::array<Complex, 64> own;
    Lumora field(kind & 4 ? 8 : 0, kind & 8 ? 8 : 1);
    field.Clear();
    if (kind & 16)
    {
        field.Dispose();
        field.SetNx(8).SetNy(8);
        field.Init(own.data());
    }
    field.Form() = static_cast<ComplexForm>(kind & 3);
    const char* const path = t.Path("input");
    WriteFile(path, input);
    Passes([&] { load(field, path, choice); });
    Examine(field);
    constexpr std::size_t most = std::size_t{256} << 20;
    Require(detail::FieldAccess::Capacity(field) * sizeof(Complex) <= std::max(most, 128 * input.size()),
            "more memory than the file may ask for");
}

void LoadMultiPart(Lumora& field, const char* path, int choice)
{
    const std::uint16_t index = static_cast<std::uint16_t>(choice & 3);
    bool exists = false;
    Passes([&] { GetSizeMpLm(path); });
    if (choice & 4)
        Passes([&] { field.LoadParamMpLm(path, index, &exists); });
    if (choice & 8)
        Passes([&] { Lumora(4, 4).Clear().SaveAsMpLm(path, index); });
    field.LoadMpLm(path, index, &exists);
}

void LoadSegmented(Lumora& field, const char* path, int choice)
{
    const std::uint16_t ix = static_cast<std::uint16_t>(choice & 1);
    const std::uint16_t iy = static_cast<std::uint16_t>(choice >> 1 & 1);
    bool exists = false;
    int nx = 0;
    int ny = 0;
    Passes([&] { GetSizeSegLm(path, nx, ny); });
    if (choice & 4)
        Passes([&] { field.LoadParamSegLm(path, ix, iy, &exists); });
    if (choice & 8)
        Passes([&] { Lumora(4, 4).Clear().SaveAsSegLm(path, ix, iy); });
    if (choice & 16)
        Passes([&] { Lumora(4, 4).SaveParamSegLm(path); });
    field.LoadSegLm(path, ix, iy, &exists);
}

void LoadLwThenUse(Lumora& field, const char* path, int choice)
{
    if (choice & 1)
        Passes([&] { field.MultiplyFileLW(path, nullptr); });
    if (choice & 2)
        Passes([&] { field.SuperimposeFileLW(path, nullptr); });
    field.LoadLw(path, nullptr);
}

void LoadDeThenUse(Lumora& field, const char* path, int choice)
{
    if (choice & 1)
        Passes([&] { field.SuperimposeFileDE(path); });
    field.LoadDE(path);
}

/// A field whose sizes, parameters and samples are the input's bytes.
Lumora AnyField(Bench& t)
{
    Lumora field(1 << t.Byte() % 5, 1 << t.Byte() % 5, t.Real(1e-5), t.Real(1e-5), t.Real(633e-9));
    field.SetOrigin(t.Place(0.0, 0.0, 0.1)).SetNormalVector(t.Place(0.0, 0.0, 1.0));
    field.Window() = LML_RECT(t.Int(0, 0, 16), t.Int(4, 0, 16), t.Int(0, 0, 16), t.Int(4, 0, 16));
    std::uint8_t* const bytes = reinterpret_cast<std::uint8_t*>(field.GetDataPointer());
    for (std::size_t n = 0; n < field.N() * sizeof(Complex); ++n)
        bytes[n] = t.Byte();
    return field;
}

/// Pictures of any samples in any mode and range: RAW has no reader, so its writer stands here with the others.
void Pictures(Input input)
{
    Bench t(TheFolder(), input.data(), input.size());
    const Mode mode = t.Choice(ModeIntensity, 0, 6);
    const double low = t.Real(0.0);
    const double high = t.Real(1.0);
    const int bar = t.Int(0, 0, 20);
    const ComplexForm form = static_cast<ComplexForm>(t.Byte() & 3);
    Lumora field = AnyField(t);
    field.Form() = form;
    Passes([&] { field.WinSaveAsRAW(t.Path("raw"), mode, low, high); });
    Passes([&] { field.SaveAsRAW(t.Path("raw"), mode, 0.0, 0.0); });
    Passes([&] { field.WinSaveAsBMPEx(t.Path("bmp"), mode, low, high, GradationRainbow, bar); });
    Passes([&] { field.WinSaveAsHBI(t.Path("hbi"), mode, low, high, nullptr); });
    if (Passes([&] { field.SaveAsHBI(t.Path("hbi"), mode, 0.0, 0.0, nullptr); }) && field.GetNx() >= 4)
        Require(!field.IsComplexAmplitude() || mode > ModeAmplitude ||
                    Passes([&] { field.LoadHBI(t.Path("hbi"), mode); }),
                "a picture that does not come back");
    Passes([&] { field.SaveAsCsv(t.Path("list"), X_AXIS, 0); });
    Passes([&] { field.SaveAsPTF(t.Path("list")); });
}

/// Every format with samples brings every bit of them back.
void RoundTrip(Input input)
{
    Bench t(TheFolder(), input.data(), input.size());
    const int kind = t.Byte() % 6;
    Lumora field = AnyField(t);
    bool there = false;
    if (kind == 0)
        field.SaveAsLw(t.Path("f"), nullptr), t.a.LoadLw(t.Path("f"), nullptr);
    else if (kind == 1)
        field.SaveAsDE(t.Path("f")), t.a.LoadDE(t.Path("f"));
    else if (kind == 5)
        field.SaveNpy(t.Path("f")), t.a.LoadNpy(t.Path("f"));
    else if (kind == 2)
        field.SaveAsLm(t.Path("f")), t.a.LoadLm(t.Path("f"));
    else if (kind == 3)
    {
        CreateFileMpLm(t.Path("f"), 3);
        field.SaveAsMpLm(t.Path("f"), 1);
        t.b.SaveAsMpLm(t.Path("f"), 0);
        field.SaveAsMpLm(t.Path("f"), 1);
        t.a.LoadMpLm(t.Path("f"), 1, &there);
    }
    else
    {
        // Wavelengths, pitches and normals that are not numbers fit no common head, not even their own.
        CreateFileSegLm(t.Path("f"), 2, 2);
        field.SaveAsSegLm(t.Path("f"), 1, 0);
        Passes([&] { field.SaveAsSegLm(t.Path("f"), 0, 1); });
        t.a.LoadSegLm(t.Path("f"), 1, 0, &there);
    }
    Require(t.a.GetNx() == field.GetNx() && t.a.GetNy() == field.GetNy() &&
                std::memcmp(t.a.GetDataPointer(), field.GetDataPointer(), field.N() * sizeof(Complex)) == 0,
            "samples that do not come back");
}

/// A cloud, whose last two bytes choose what is made of it. Its points ask for no more than 80 bytes for each of the
/// file's, or what the options allow.
void Cloud(Input input)
{
    if (input.size() < 2)
        return;
    Bench t(TheFolder(), nullptr, 0);
    const int choice = input[input.size() - 1];
    CloudLoadOptions how;
    how.density = choice & 1 ? (choice & 2 ? 1e3 : 1.0) : 0.0;
    how.centre = (choice & 4) != 0;
    how.cullBackFaces = (choice & 8) != 0;
    how.randomPhase = (choice & 16) != 0;
    how.scale = choice & 32 ? -1e3 : 1.0;
    how.maxPoints = 10000;
    input.remove_suffix(2);
    WriteFile(t.Path("input"), input);
    Passes(
        [&]
        {
            const std::vector<CloudPoint> points = LoadPointCloud(t.Path("input"), how);
            Require(points.size() <= (how.density > 0.0 ? 10000 : input.size()), "more points than the file may hold");
            for (const CloudPoint& p : points)
                for (const double v : {p.x, p.y, p.z, p.amplitude, p.phase})
                    Require(std::isfinite(v), "a point that is no number");
        });
}

/// 2 to 20 operations on two fields.
void Sequence(Input input)
{
    Bench t(TheFolder(), input.data(), input.size());
    SetNumThreads(1);
    SetFftLib(FFT_LIB_VENDOR);
    const int sizes = t.Byte();
    if (sizes & 1)
        t.a = Lumora(1 << (sizes >> 1 & 3), 1 << (sizes >> 3 & 7), 1e-5, 1e-5, 633e-9);
    PrepareFiles(t);
    for (int n = 0; n < 20 && (n < 2 || t.HasMore()); ++n)
    {
        const std::size_t which = t.Byte();
        if (which == 255)
            std::swap(t.a, t.b);
        else
            Passes([&] { kOperations[which % std::size(kOperations)].run(t); });
        Examine(t.a);
        Examine(t.b);
        for (Lumora* field : {&t.a, &t.b}) // the next operations are to be quick
            if (detail::FieldAccess::Capacity(*field) > 16384)
                *field = Lumora(8, 8, 1e-5, 1e-5, 633e-9);
    }
    Require(Stack().IsEmpty(), "a form left on the stack");
}

struct Target
{
    const char* name;
    void (*run)(Input);
    const char* seed; ///< the file of PrepareFiles, or null
};
// clang-format off
constexpr Target kTargets[] = {
    {"bmp", LoadFile<[](Lumora& f, const char* path, int choice) { f.LoadBmp(path, static_cast<Mode>(choice & 7), Complex()); }>, "bmp"},
    {"hbi", LoadFile<[](Lumora& f, const char* path, int choice) { f.LoadHBI(path, static_cast<Mode>(choice & 7)); }>, "hbi"},
    {"raw", Pictures, nullptr},
    {"lw", LoadFile<LoadLwThenUse>, "lw"},
    {"de", LoadFile<LoadDeThenUse>, "de"},
    {"csv", LoadFile<[](Lumora& f, const char* path, int) { f.LoadCSV(path); }>, "csv"},
    {"npy", LoadFile<[](Lumora& f, const char* path, int) { f.LoadNpy(path); }>, "npy"},
    {"cloud", Cloud, "ply"},
    {"lm", LoadFile<[](Lumora& f, const char* path, int) { f.LoadLm(path); }>, "lm"},
    {"mp", LoadFile<LoadMultiPart>, "mp"},
    {"seg", LoadFile<LoadSegmented>, "seg"},
#if defined(LML_TEST_PICTURES)
    {"picture", LoadFile<[](Lumora& f, const char* path, int) { LoadPicture(f, path); }>, "bmp"},
#endif
    {"roundtrip", RoundTrip, nullptr},
    {"sequence", Sequence, nullptr},
};
// clang-format on
const Target* target = nullptr;

std::string_view Option(int argc, char** argv, std::string_view name)
{
    for (int n = 1; n < argc; ++n)
        if (std::string_view(argv[n]).substr(0, name.size()) == name)
            return std::string_view(argv[n]).substr(name.size());
    return {};
}

void WriteSeeds(const std::string& folder)
{
    for (const int size : {1, 2, 4, 8})
    {
        Bench t(TheFolder(), nullptr, 0);
        t.b = Lumora(size, size == 8 ? 4 : size, 1e-5, 1e-5, 633e-9);
        t.b.SetRect(1e-5, 1e-5, 0.5);
        PrepareFiles(t);
        std::basic_string<std::uint8_t> seed;
        if (target->seed != nullptr)
            seed = ReadFile(t.Path(target->seed)) + std::basic_string<std::uint8_t>{4, 0};
        else
            for (int n = 0; n < 64 * size; ++n)
                seed += static_cast<std::uint8_t>(37 * n / size);
        WriteFile((folder + "/seed" + std::to_string(size)).c_str(), seed);
        if (std::strcmp(target->name, "picture") != 0)
            continue;
        WriteFile((folder + "/png" + std::to_string(size)).c_str(), ReadFile(t.Path("field.png")));
        const std::string map = "P" + std::to_string(size == 8 ? 6 : size) + " 3 2 " + (size == 4 ? "" : "9\n") +
                                "1 0 1 1 1 1 0 1 01111111111";
        WriteFile((folder + "/map" + std::to_string(size)).c_str(),
                  Input(reinterpret_cast<const std::uint8_t*>(map.data()), map.size()));
    }
}

/// Where an LM file keeps the numbers that everything depends on: its index entries, and the members of the heads that
/// they lead to, followed as they stand.
struct Slot
{
    std::size_t at;
    std::size_t bytes;
};
std::vector<Slot> SlotsOf(const std::uint8_t* data, std::size_t size)
{
    std::vector<Slot> slots;
    const auto add = [&](std::size_t at, std::size_t bytes)
    {
        if (at < size && size - at >= bytes)
            slots.push_back({at, bytes});
    };
    const auto number = [&](std::size_t at)
    {
        std::uint64_t value = ~std::uint64_t{0};
        if (at < size && size - at >= 8)
            std::memcpy(&value, data + at, 8);
        return static_cast<std::size_t>(value);
    };
    const auto head = [&](std::size_t at)
    {
        for (const Slot s : {Slot{0, 2}, {2, 8}, {10, 8}, {18, 8}, {26, 4}, {30, 4}, {34, 8}, {42, 8}, {50, 2}})
            if (at < size)
                add(at + s.at, s.bytes);
    };
    add(2, 2);
    if (std::strcmp(target->name, "lm") == 0)
        head(2);
    const bool segmented = std::strcmp(target->name, "seg") == 0;
    const std::size_t table = segmented ? 12 : 4;
    for (std::size_t n = 0; n < 4 && target->name[0] != 'l'; ++n)
    {
        add(table + 8 * n, 8);
        head(number(table + 8 * n));
    }
    if (segmented)
    {
        const std::size_t record = number(4);
        add(4, 8);
        if (record < size)
        {
            for (const Slot s : {Slot{0, 2}, {2, 8}, {10, 2}, {12, 2}})
                add(record + s.at, s.bytes);
            head(number(record + 2));
        }
    }
    return slots;
}
} // namespace

extern "C" const char* __asan_default_options()
{
    // Sizes beyond what a reader may ask for end as on a machine without that much memory.
    return "allocator_may_return_null=1:max_allocation_size_mb=300:detect_leaks=1";
}

// The sanitizer's own forms that throw end the program instead.
void* operator new(std::size_t bytes)
{
    if (void* const memory = ::operator new(bytes, std::nothrow))
        return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t bytes)
{
    if (void* const memory = ::operator new[](bytes, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    const std::string_view name = Option(*argc, *argv, "--target=");
    for (const Target& t : kTargets)
        if (name == t.name)
            target = &t;
    if (target == nullptr)
    {
        std::fputs("usage: fuzz --target=NAME [--seeds=FOLDER] [options and corpus of the engine]; targets:", stderr);
        for (const Target& t : kTargets)
            std::fprintf(stderr, " %s", t.name);
        std::fputs("\n", stderr);
        std::_Exit(2);
    }
    SetErrorHandling(ERROR_HANDLING_THROW);
    SetNumThreads(1);
    const std::string seeds(Option(*argc, *argv, "--seeds="));
    if (!seeds.empty())
    {
        WriteSeeds(seeds);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    target->run(Input(data, size));
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed)
{
    const bool container = target->seed != nullptr &&
                           (target->seed[0] == 'm' || target->seed[0] == 's' || std::strcmp(target->seed, "lm") == 0);
    if (!container || size < 8 || seed % 3 == 0)
        return LLVMFuzzerMutate(data, size, most);
    const std::vector<Slot> slots = SlotsOf(data, size - 2);
    if (slots.empty())
        return LLVMFuzzerMutate(data, size, most);
    const Slot slot = slots[seed / 3 % slots.size()];
    std::uint64_t value = 0;
    std::memcpy(&value, data + slot.at, slot.bytes);
    const std::uint64_t other = slots[seed / 97 % slots.size()].at;
    constexpr std::uint64_t one = 1;
    const std::uint64_t numbers[] = {0,         1,         2,          3,          4,
                                     5,         8,         16,         0x3fff,     0x4000,
                                     0x8002,    0xc004,    0x7fffffff, 0x80000000, ~std::uint64_t{0},
                                     one << 63, one << 40, size,       size - 1,   size + 1,
                                     value + 1, value - 1, value * 2,  value / 2,  other,
                                     other - 2};
    value = numbers[seed / 7 % std::size(numbers)];
    std::memcpy(data + slot.at, &value, slot.bytes);
    return size;
}
