// Propagation by the spectrum from file to file.
#include "LmlLarge.h"

#include "field/FieldTools.h"
#include "large/LargeRun.h"
#include "large/SpectralSteps.h"
#include "propagate/FreeSpace.h"

#include <memory>

namespace LumoraLib
{
namespace
{
using namespace detail;

/// A pass by the spectrum, and the member that does the same in memory.
class SpectralWork final : public LargeWork
{
public:
    using Member = void (*)(Lumora& field, double d);
    SpectralWork(const GridPlace& place, const SegmentGrid& own, const SpectralPass& pass, Member member, double d)
        : LargeWork(place, place), own_(own), pass_(pass), member_(member), d_(d)
    {
    }
    std::uint64_t InsideBytes(int threads) const override
    {
        const std::uint64_t rows = static_cast<std::uint64_t>(from.raisedY);
        const std::uint64_t middle =
            pass_.doublings == 0 ? 0 : sizeof(Complex) * static_cast<std::uint64_t>(from.nx) * rows;
        return middle + SpectralSteps::Needs(pass_, from, threads).stripBytes;
    }
    void Inside(Lumora& field) const override { member_(field, d_); }
    TileNeeds Needs(int threads) const override { return SpectralSteps::Needs(pass_, from, threads); }
    std::unique_ptr<SweepSteps> Steps(const TileLayout& layout, int threads) const override
    {
        return std::make_unique<SpectralSteps>(pass_, from, own_, layout, threads);
    }
    bool IsZero() const override
    {
        const std::size_t nx = static_cast<std::size_t>(from.nx);
        const std::size_t ny = static_cast<std::size_t>(from.ny);
        return TransformRange(pass_.band.i0, pass_.band.i1, from.nx).Count(nx) == 0 ||
               TransformRange(pass_.band.j0, pass_.band.j1, from.ny).Count(ny) == 0;
    }
    void Identify(Identity& identity) const override { identity.AddNumber(d_); }

private:
    SegmentGrid own_;
    const SpectralPass& pass_;
    Member member_;
    double d_;
};

/// The three over a distance. The parameters of the pass are formed as the members form them.
LargeReport Propagate(const char* function, const char* source, const char* destination, double d, bool bandLimit,
                      bool embed, SpectralWork::Member member, const LargeOptions& options)
{
    return LargeWithMemory(
        function, options,
        [&]
        {
            const int doublings = embed ? 1 : 0;
            LargeCall call(function, source, destination, options, doublings);
            const Lumora& common = call.source.Common();
            if (common.IsSpectrum())
                Error(ERR_SPECTRUM_OR_AMPLITUDE, function, "the source is a spectrum");
            const SegmentGrid& own = call.source.Grid();
            const GridPlace place = CentredPlace(own, doublings);
            const std::int32_t nx = place.nx;
            const std::int32_t ny = place.ny;
            const double lambda = common.GetWavelength();
            const FreeSpace h(d, lambda, 1.0 / (nx * common.GetPx()),
                              ny == 1 ? common.GetPy() : 1.0 / (ny * common.GetPy()));
            const IndexBox all{0, nx, 0, ny};
            const SpectralPass pass{h, bandLimit ? AsmBandBox(nx, ny, h.du, h.dv, d, lambda) : all, doublings};
            Lumora result(common);
            FieldAccess::AddToOrigin(result, d);
            return call.Run(SpectralWork(place, own, pass, member, d), result, own);
        });
}
} // namespace

LargeReport LargeRawAsmProp(const char* source, const char* destination, double d, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeRawAsmProp";
    return Propagate(
        fn, source, destination, d, false, false, [](Lumora& field, double z) { field.RawAsmProp(z); }, options);
}

LargeReport LargeAsmProp(const char* source, const char* destination, double d, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeAsmProp";
    return Propagate(
        fn, source, destination, d, true, false, [](Lumora& field, double z) { field.AsmProp(z); }, options);
}

LargeReport LargeExactAsmProp(const char* source, const char* destination, double d, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeExactAsmProp";
    return Propagate(
        fn, source, destination, d, true, true, [](Lumora& field, double z) { field.ExactAsmProp(z); }, options);
}
} // namespace LumoraLib
