// The centred transform and Fresnel propagation from file to file.
#include "LmlLarge.h"

#include "base/Describe.h"
#include "base/IntMath.h"
#include "field/FieldTools.h"
#include "large/FourierSteps.h"

#include <memory>

namespace LumoraLib
{
namespace
{
using namespace detail;

class FourierWork final : public LargeWork
{
public:
    FourierWork(const GridPlace& place, const SegmentGrid& own, int sign, const FresnelPhases* phases)
        : LargeWork(place, place), own_(own), sign_(sign), phases_(phases)
    {
    }
    std::uint64_t InsideBytes(int threads) const override { return FourierSteps::Needs(from, threads).stripBytes; }
    void Inside(Lumora& field) const override
    {
        if (phases_ == nullptr)
            field.Fft(sign_);
        else
            field.FresnelProp(phases_->d);
    }
    TileNeeds Needs(int threads) const override { return FourierSteps::Needs(from, threads); }
    std::unique_ptr<SweepSteps> Steps(const TileLayout& layout, int threads) const override
    {
        return std::make_unique<FourierSteps>(sign_, phases_, from, own_, layout, threads);
    }
    bool WholeColumns() const override { return true; }
    void Identify(Identity& identity) const override
    {
        identity.AddNumber(std::int64_t{sign_});
        if (phases_ != nullptr)
            identity.AddNumber(phases_->d);
    }

private:
    SegmentGrid own_;
    int sign_;
    const FresnelPhases* phases_;
};
} // namespace

LargeReport LargeFft(const char* source, const char* destination, int sign, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeFft";
    return LargeWithMemory(fn, options,
                           [&]
                           {
                               if (sign != 1 && sign != -1)
                                   Error(ERR_PARAMETER, fn, "FFT mode");
                               LargeCall call(fn, source, destination, options, 0);
                               const SegmentGrid& own = call.source.Grid();
                               const GridPlace place = CentredPlace(own, 0);
                               if (own.Nx() != place.nx || own.Ny() != place.ny)
                                   Error(ERR_PARAMETER, fn,
                                         Explained("the whole sizes must be powers of two",
                                                   "They are %lld by %lld: Put() them into the middle of zeros, %d by "
                                                   "%d, and transform that.",
                                                   static_cast<long long>(own.Nx()), static_cast<long long>(own.Ny()),
                                                   place.nx, place.ny));
                               Lumora result(call.source.Common());
                               FieldAccess::SwitchDomain(result);
                               result.SetPx(1.0 / (place.nx * result.GetPx()));
                               if (place.ny != 1)
                                   result.SetPy(1.0 / (place.ny * result.GetPy()));
                               return call.Run(FourierWork(place, own, sign, nullptr), result, own);
                           });
}

LargeReport LargeFresnelProp(const char* source, const char* destination, double d, const LargeOptions& options)
{
    static constexpr char fn[] = "LumoraLib::LargeFresnelProp";
    return LargeWithMemory(fn, options,
                           [&]
                           {
                               LargeCall call(fn, source, destination, options, 0);
                               const Lumora& common = call.source.Common();
                               if (common.IsSpectrum())
                                   Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "the source is a spectrum");
                               const SegmentGrid& own = call.source.Grid();
                               const GridPlace place = CentredPlace(own, 0);
                               // As the member forms the pitches behind the transform.
                               const double lambda = common.GetWavelength();
                               Lumora result(common);
                               const double s = lambda * d;
                               if (place.ny == 1)
                                   result.SetPx(d / (place.nx * common.GetPx()) * lambda);
                               else
                                   result.SetPx(s / (place.nx * common.GetPx())).SetPy(s / (place.ny * common.GetPy()));
                               FresnelPhases phases{common.GetWavenumber(), d};
                               phases.before.CopyParam(common).SetNx(place.nx).SetNy(place.ny);
                               phases.after.CopyParam(result).SetNx(place.nx).SetNy(place.ny);
                               FieldAccess::AddToOrigin(result, d);
                               return call.Run(FourierWork(place, own, -1, &phases), result, own);
                           });
}
} // namespace LumoraLib
