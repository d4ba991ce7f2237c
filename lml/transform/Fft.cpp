// The transform of a field: quadrant exchange, pitches, form flag.
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "transform/CentredFft.h"

namespace LumoraLib
{
Lumora& Lumora::Fft(int sign)
{
    static constexpr char fn[] = "LumoraLib::Lumora::Fft";
    detail::RequireTransformable(*this, fn);
    const bool known = sign == 1 || sign == -1;
    detail::Progress progress(fn, static_cast<std::int64_t>(N()), static_cast<std::int64_t>(N()));
    progress.Step(0);
    const bool wasPolar = known ? detail::TransformCartesian(*this, sign) : detail::MakeCartesian(*this);
    detail::FieldAccess::SwitchDomain(*this);
    // Kept: the form is already converted and the domain flipped when the sign is refused.
    if (!known)
        Error(ERR_PARAMETER, fn, "FFT mode");
    px_ = 1.0 / (nx_ * px_);
    if (ny_ != 1)
        py_ = 1.0 / (ny_ * py_);
    detail::RestorePolar(*this, wasPolar);
    return *this;
}

Lumora& Lumora::FFT(int sign)
{
    return Fft(sign);
}

Lumora& Lumora::FakeFft()
{
    // Kept: Py changes also for a field of one row, where Fft leaves it.
    px_ = 1.0 / (nx_ * px_);
    py_ = 1.0 / (ny_ * py_);
    detail::FieldAccess::SwitchDomain(*this);
    return *this;
}

Lumora& Lumora::FakeFFT()
{
    return FakeFft();
}

Lumora& Lumora::SwitchQuadrant()
{
    static constexpr char fn[] = "LumoraLib::Lumora::SwitchQuadrant";
    RequireSamples(fn);
    if (N() == 0)
        return *this;
    if (ny_ == 1)
        detail::SwapHalves(dataPointer_, nx_);
    else
        detail::SwapQuadrants(dataPointer_, nx_, ny_);
    return *this;
}
} // namespace LumoraLib
