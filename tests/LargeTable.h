// What tests of large fields share: files with known samples, and the one table of operations beside their members.
#ifndef LML_LARGETABLE_H
#define LML_LARGETABLE_H

#include "TestTools.h"

#include "LmlLarge.h"
#include "field/Embed.h"

namespace lmltest
{
/// Sizes of a file: segments along x and y of nx by ny samples.
struct Sizes
{
    int sx, sy, nx, ny;
    int Width() const { return sx * nx; }
    int Height() const { return sy * ny; }
};

/// Files of one folder, and what stands in them.
class LargeFiles
{
protected:
    explicit LargeFiles(std::string folder) : folder_(std::move(folder)) {}
    std::string Path(const char* name) const { return folder_ + "/" + name; }

    /// A file with random samples and what stands in it.
    std::vector<Complex> Make(const char* name, const Sizes& s, unsigned seed = 1, double pitch = 2e-6) const
    {
        Lumora like(0, 0);
        like.SetPx(pitch).SetPy(pitch * 1.25).SetWavelength(633e-9);
        like.SetOrigin(Vector(1e-4, -2e-4, 3e-4));
        SegmentedField file = SegmentedField::Create(Path(name).c_str(), like, static_cast<std::uint16_t>(s.sx),
                                                     static_cast<std::uint16_t>(s.sy), s.nx, s.ny);
        std::vector<Complex> samples(static_cast<std::size_t>(s.Width()) * static_cast<std::size_t>(s.Height()));
        std::mt19937 random(seed);
        for (Complex& c : samples)
            c = Complex(static_cast<double>(random() % 2001) / 1000.0 - 1.0,
                        static_cast<double>(random() % 2001) / 1000.0 - 1.0);
        file.Write(0, 0, s.Width(), s.Height(), samples.data(), static_cast<std::size_t>(s.Width()));
        return samples;
    }
    /// A file without segments that only says where the destination is.
    template <class Where>
    void Place(const char* name, const Where& t) const
    {
        Lumora like(0, 0);
        like.SetPx(t.pitch).SetPy(t.pitch * 1.25).SetWavelength(633e-9);
        like.SetOrigin(Vector(1e-4, -2e-4, 3e-4) + Vector(t.dx, t.dy, t.dz));
        SegmentedField::Create(Path(name).c_str(), like, static_cast<std::uint16_t>(t.sizes.sx),
                               static_cast<std::uint16_t>(t.sizes.sy), t.sizes.nx, t.sizes.ny);
    }
    std::vector<Complex> ReadAll(const char* name) const
    {
        const SegmentedField file(Path(name).c_str());
        const std::int32_t nx = static_cast<std::int32_t>(file.GetNx());
        const std::int32_t ny = static_cast<std::int32_t>(file.GetNy());
        std::vector<Complex> samples(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny));
        file.Read(0, 0, nx, ny, samples.data(), static_cast<std::size_t>(nx));
        return samples;
    }
    /// The file's field in memory, its samples in the middle of the raised grid.
    Lumora Inside(const char* name) const
    {
        const SegmentedField file(Path(name).c_str());
        Lumora field(1, 1);
        file.Get(0, 0, static_cast<std::int32_t>(file.GetNx()), static_cast<std::int32_t>(file.GetNy()), field);
        return field;
    }
    static bool SameBits(const std::vector<Complex>& a, const std::vector<Complex>& b)
    {
        return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Complex)) == 0;
    }
    int FilesLeft() const
    {
        int count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_))
            ++count;
        return count;
    }

    std::string folder_;
};

/// A destination that its file places: pitch, offsets from the source's origin, whole sizes.
struct Target
{
    double pitch, dx, dy, dz;
    Sizes sizes;
};

struct Row
{
    const char* name;
    std::function<LargeReport(const char* from, const char* to, const LargeOptions&)> large;
    std::function<void(Lumora&)> member;
    std::function<Target(const Sizes&)> target = nullptr;
    bool powersOfTwo = false;
};

#define LML_LARGE(call)                                                                                                \
    [=](const char* a, const char* b, const LargeOptions& o)                                                           \
    {                                                                                                                  \
        return call;                                                                                                   \
    }

inline std::vector<Row> Rows()
{
    std::vector<Row> rows;
    for (const double d : {2e-4, -2e-3, 0.05})
    {
#define LML_TWINS(name)                                                                                                \
    {                                                                                                                  \
#name, LML_LARGE(Large##name(a, b, d, o)), [d](Lumora & f) {                                                   \
            f.name(d);                                                                                                 \
        }                                                                                                              \
    }
        rows.insert(rows.end(),
                    {LML_TWINS(RawAsmProp), LML_TWINS(AsmProp), LML_TWINS(ExactAsmProp), LML_TWINS(FresnelProp)});
    }
    for (const int sign : {-1, 1})
        rows.push_back({"Fft", LML_LARGE(LargeFft(a, b, sign, o)), [sign](Lumora& f) { f.Fft(sign); }, nullptr, true});
    for (const double shift : {1e-4, -7e-4})
        rows.push_back({"ShiftedAsmProp", LML_LARGE(LargeShiftedAsmProp(a, b, 1, o)),
                        [shift](Lumora& f)
                        {
                            Lumora to(f);
                            to.SetOrigin(f.GetOrigin() + Vector(shift, 5e-5, 3e-3));
                            f = to.ShiftedAsmProp(f, 1);
                        },
                        [shift](const Sizes& s)
                        {
                            return Target{2e-6, shift, 5e-5, 3e-3, s};
                        }});
    // The same grid, and a smaller or larger one.
    rows.push_back({"ShiftedFresnelProp", LML_LARGE(LargeShiftedFresnelProp(a, b, false, o)),
                    [](Lumora& f) { f.ShiftedFresnelProp(f.GetOrigin() + Vector(3e-4, 0, 0.01), 3e-6, 3.75e-6); },
                    [](const Sizes& s)
                    {
                        return Target{3e-6, 3e-4, 0, 0.01, s};
                    }});
    rows.push_back({"ShiftedFresnelProp to half the size", LML_LARGE(LargeShiftedFresnelProp(a, b, false, o)),
                    [](Lumora& f) { f.ShiftedFresnelProp(f.GetOrigin() + Vector(3e-4, 0, 0.01), 3e-6, 3.75e-6); },
                    [](const Sizes& s)
                    {
                        return Target{3e-6, 3e-4, 0, 0.01, {s.sx, s.sy, s.nx / 2, s.ny / 2}};
                    }});
    return rows;
}

/// The middle of a raised field that a file's samples have come to.
inline std::vector<Complex> Middle(const Lumora& field, const Sizes& s)
{
    std::vector<Complex> middle(static_cast<std::size_t>(s.Width()) * static_cast<std::size_t>(s.Height()));
    detail::CutCentre(middle.data(), s.Width(), s.Height(), field.GetDataPointer(), field.GetNx(), field.GetNy());
    return middle;
}
} // namespace lmltest

#endif
