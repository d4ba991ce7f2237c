// Rows of phase factors, the wide room. See WidePhase.h.
#include "simd/SinCosBody-inl.h"

namespace LumoraLib::detail::LML_WIDE_NS
{
namespace phase
{

// Columns of a row are taken in vectors of VD::lanes; the last vector is computed whole and stored in part, so that a
// tail has the arithmetic of any other vector. The phases pass through a buffer of kBlock on their way to the sines: in
// one loop the long chain of a square root or a division and the sine behind it would leave the processor waiting.
static constexpr std::size_t kLanes = static_cast<std::size_t>(VD::lanes);
static constexpr std::size_t kBlock = 256;

/// Rounded samples in index order.
LML_INLINE void StoreSamples(float* p, VD re, VD im)
{
#if LML_WIDE_LEVEL == 2
    const __m512 both = _mm512_castpd_ps(_mm512_insertf64x4(
        _mm512_castps_pd(_mm512_castps256_ps512(_mm512_cvtpd_ps(re.v))), _mm256_castps_pd(_mm512_cvtpd_ps(im.v)), 1));
    const __m512i order = _mm512_setr_epi32(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    _mm512_storeu_ps(p, _mm512_permutexvar_ps(order, both));
#else
    StoreComplex(p, re, im);
#endif
}

/// The VD::lanes samples at `from` to `to` in reverse order.
LML_INLINE void CopyReversed(float* to, const float* from)
{
#if LML_WIDE_LEVEL == 0
    const __m128 a = _mm_loadu_ps(from);
    _mm_storeu_ps(to, _mm_shuffle_ps(a, a, 0x4e));
#elif LML_WIDE_LEVEL == 1
    _mm256_storeu_ps(to, _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(_mm256_loadu_ps(from)), 0x1b)));
#else
    const __m512i order = _mm512_setr_epi64(7, 6, 5, 4, 3, 2, 1, 0);
    _mm512_storeu_pd(to, _mm512_permutexvar_pd(order, _mm512_castps_pd(_mm512_loadu_ps(from))));
#endif
}

/// The columns i .. i + lanes - 1 of a row, which wrap as 32-bit numbers.
LML_INLINE VH Columns(std::int32_t first, std::size_t i)
{
    return VH(static_cast<std::int32_t>(static_cast<std::uint32_t>(first) + static_cast<std::uint32_t>(i))) +
           VH::Iota();
}

// ------------------------------------------------------------------------------------------------ phases of a vector
// Each form: the constants as vectors, made once per row, and At(columns).

struct TransferForm
{
    VD du, c, tpd;
    LML_MEMBER explicit TransferForm(const PhaseForm& f) : du(f.p[0]), c(f.p[1]), tpd(f.p[2]) {}
    LML_MEMBER VD At(VH columns) const
    {
        const VD u = ToDouble(columns) * du, w = c - u * u;
        const auto inside = w > VD::Zero();
        return ZeroUnless(inside, tpd * Sqrt(ZeroUnless(inside, w)));
    }
};

struct ShiftedForm
{
    VD du, x0, z0, c, v2, y0v;
    LML_MEMBER explicit ShiftedForm(const PhaseForm& f)
        : du(f.p[0]), x0(f.p[1]), z0(f.p[2]), c(f.p[3]), v2(f.p[4]), y0v(f.p[5])
    {
    }
    LML_MEMBER VD At(VH columns) const
    {
        const VD u = ToDouble(columns) * du;
        return VD(kTwoPi) * ((x0 * u + z0 * Sqrt((c - u * u) - v2)) + y0v);
    }
};

struct FresnelInForm
{
    VD px, y2, k, dd;
    LML_MEMBER explicit FresnelInForm(const PhaseForm& f) : px(f.p[0]), y2(f.p[1]), k(f.p[2]), dd(f.p[3]) {}
    LML_MEMBER VD At(VH columns) const
    {
        const VD x = ToDouble(columns) * px;
        return RoundToFloat((y2 + x * x) * k / dd);
    }
};

struct FresnelOutForm
{
    VD px, y2, k, dd, d;
    LML_MEMBER explicit FresnelOutForm(const PhaseForm& f) : px(f.p[0]), y2(f.p[1]), k(f.p[2]), dd(f.p[3]), d(f.p[4]) {}
    LML_MEMBER VD At(VH columns) const
    {
        const VD x = ToDouble(columns) * px;
        return RoundToFloat(((y2 + x * x) / dd + d) * k);
    }
};

struct PlaneVectorForm
{
    VD base, a, px;
    LML_MEMBER explicit PlaneVectorForm(const PhaseForm& f) : base(f.p[0]), a(f.p[1]), px(f.p[2]) {}
    LML_MEMBER VD At(VH columns) const { return base + ToDouble(columns) * a * px; }
};

struct PlaneCosinesForm
{
    VD base, row, cosA, px, k;
    LML_MEMBER explicit PlaneCosinesForm(const PhaseForm& f)
        : base(f.p[0]), row(f.p[1]), cosA(f.p[2]), px(f.p[3]), k(f.p[4])
    {
    }
    LML_MEMBER VD At(VH columns) const { return base + (row + ToDouble(columns) * cosA * px) * k; }
};

struct LensForm
{
    VD px, y2, minusK, f2;
    LML_MEMBER explicit LensForm(const PhaseForm& f) : px(f.p[0]), y2(f.p[1]), minusK(f.p[2]), f2(f.p[3]) {}
    LML_MEMBER VD At(VH columns) const
    {
        const VD x = ToDouble(columns) * px;
        return minusK * (x * x + y2) / f2;
    }
};

// Where the factors' loop has the phases from: Phase(i) for the vector at the row's i-th sample.

struct Stored
{
    const double* phase;
    LML_MEMBER VD Phase(std::size_t i) const { return VD::LoadU(phase + i); }
};

/// The second member of a sample.
struct StoredPolar
{
    const float* z;
    LML_MEMBER VD Phase(std::size_t i) const
    {
        VD amplitude, phase;
        LoadComplex(z + 2 * i, amplitude, phase);
        return phase;
    }
};

// --------------------------------------------------------------------------------------------------------------- rows

/// The phases themselves, whole vectors: room for n rounded up to VD::lanes.
template <class Form>
LML_INLINE void PhasesOf(const PhaseForm& f, std::int32_t first, std::size_t n, double* phase)
{
    const Form form(f);
    for (std::size_t i = 0; i < n; i += kLanes)
        form.At(Columns(first, i)).StoreU(phase + i);
}

/// n phases of a form that is not given.
LML_NOINLINE void FillBlock(const PhaseForm& f, std::int32_t first, std::size_t n, double* phase)
{
    switch (f.kind)
    {
    case PhaseForm::Kind::Transfer:
        PhasesOf<TransferForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::FresnelIn:
        PhasesOf<FresnelInForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::FresnelOut:
        PhasesOf<FresnelOutForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::PlaneVector:
        PhasesOf<PlaneVectorForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::PlaneCosines:
        PhasesOf<PlaneCosinesForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::Lens:
        PhasesOf<LensForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::Shifted:
        PhasesOf<ShiftedForm>(f, first, n, phase);
        break;
    case PhaseForm::Kind::Given:
        break;
    }
}

/// Runs the factors of n samples into a sink: Whole(i, ...) for a vector at the i-th sample, Part(i, count, ...) for
/// the last one. The phases of a vector are read before the sink writes it.
template <class From, class Sink>
LML_INLINE void Drive(const From& from, std::size_t n, const Sink& sink)
{
    constexpr std::size_t U = kSinCosGroup;
    VD x[U], s[U], c[U];
    std::size_t i = 0;
    for (; i + U * kLanes <= n; i += U * kLanes)
    {
#pragma GCC unroll 8
        for (std::size_t u = 0; u < U; ++u)
            x[u] = from.Phase(i + u * kLanes);
        SinCosGroup<U>(x, s, c);
#pragma GCC unroll 8
        for (std::size_t u = 0; u < U; ++u)
            sink.Whole(i + u * kLanes, c[u], s[u]);
    }
    for (; i < n; i += kLanes)
    {
        SinCosV(from.Phase(i), s[0], c[0]);
        if (i + kLanes <= n)
            sink.Whole(i, c[0], s[0]);
        else
            sink.Part(i, n - i, c[0], s[0]);
    }
}

/// Calls body(from, start, count): the phases of the samples start .. start + count - 1, for pieces of the row. Given
/// phases are copied only where the last vector would read past their end.
template <class Body>
LML_INLINE void InBlocks(const PhaseForm& f, std::int32_t first, std::size_t n, const Body& body)
{
    alignas(64) double phase[kBlock];
    for (std::size_t start = 0; start < n; start += kBlock)
    {
        const std::size_t count = n - start < kBlock ? n - start : kBlock;
        if (f.kind == PhaseForm::Kind::Given && count % kLanes == 0)
        {
            body(f.given + start, start, count);
            continue;
        }
        if (f.kind == PhaseForm::Kind::Given)
        {
            std::memcpy(phase, f.given + start, count * sizeof(double));
            for (std::size_t i = count; i % kLanes != 0; ++i)
                phase[i] = 0.0;
        }
        else
        {
            FillBlock(f,
                      static_cast<std::int32_t>(static_cast<std::uint32_t>(first) + static_cast<std::uint32_t>(start)),
                      count, phase);
        }
        body(phase, start, count);
    }
}

// -------------------------------------------------------------------------------------------------------------- sinks

struct UnitSink
{
    float *up, *down;
    LML_MEMBER void Whole(std::size_t i, VD c, VD s) const
    {
        float both[2 * kLanes];
        float* const to = up != nullptr ? up + 2 * i : both;
        StoreSamples(to, c, s);
        if (down != nullptr)
            CopyReversed(down - 2 * static_cast<std::ptrdiff_t>(i + kLanes - 1), to);
    }
    LML_MEMBER void Part(std::size_t i, std::size_t count, VD c, VD s) const
    {
        float both[2 * kLanes];
        StoreSamples(both, c, s);
        if (up != nullptr)
            std::memcpy(up + 2 * i, both, count * 2 * sizeof(float));
        if (down != nullptr)
            for (std::size_t j = 0; j < count; ++j)
                std::memcpy(down - 2 * static_cast<std::ptrdiff_t>(i + j), both + 2 * j, 2 * sizeof(float));
    }
};

struct SplitSink
{
    float *re, *im;
    LML_MEMBER void Whole(std::size_t i, VD c, VD s) const
    {
        StoreFloats(re + i, c);
        StoreFloats(im + i, s);
    }
    LML_MEMBER void Part(std::size_t i, std::size_t count, VD c, VD s) const
    {
        float r[kLanes], m[kLanes];
        StoreFloats(r, c);
        StoreFloats(m, s);
        std::memcpy(re + i, r, count * sizeof(float));
        std::memcpy(im + i, m, count * sizeof(float));
    }
};

/// Whole vectors only.
struct DoubleSink
{
    double *sines, *cosines;
    LML_MEMBER void Whole(std::size_t i, VD c, VD s) const
    {
        s.StoreU(sines + i);
        c.StoreU(cosines + i);
    }
    LML_MEMBER void Part(std::size_t, std::size_t, VD, VD) const {}
};

/// to := from times the factor. A product of two floats is exact in double, so single precision is had by rounding.
template <PhaseProduct::Rule rule, bool plain>
struct ProductSink
{
    VD preRe, preIm, postRe, postIm;
    bool hasPre, hasPost;
    const float* source;
    float* target;
    LML_MEMBER ProductSink(const PhaseProduct& p, const float* from, float* to)
        : preRe(p.preRe), preIm(p.preIm), postRe(p.postRe), postIm(p.postIm), hasPre(p.hasPre), hasPost(p.hasPost),
          source(from), target(to)
    {
    }
    LML_MEMBER void Vector(VD c, VD s, const float* in, float* out) const
    {
        VD a, b, re, im;
        LoadComplex(in, a, b);
        if constexpr (rule == PhaseProduct::Rule::Double)
        {
            if constexpr (!plain)
            {
                if (hasPre)
                {
                    const VD f = preRe * c - preIm * s;
                    s = preRe * s + preIm * c;
                    c = f;
                }
            }
        }
        else
        {
            c = RoundToFloat(c);
            s = RoundToFloat(s);
        }
        if constexpr (rule == PhaseProduct::Rule::Mixed)
        {
            re = c * a - RoundToFloat(b * s);
            im = a * s + RoundToFloat(b * c);
        }
        else
        {
            re = a * c - b * s;
            im = a * s + b * c;
        }
        if constexpr (!plain)
        {
            if (rule == PhaseProduct::Rule::Double && hasPost)
            {
                const VD f = re * postRe - im * postIm;
                im = re * postIm + im * postRe;
                re = f;
            }
        }
        StoreSamples(out, re, im);
    }
    LML_MEMBER void Whole(std::size_t i, VD c, VD s) const { Vector(c, s, source + 2 * i, target + 2 * i); }
    LML_MEMBER void Part(std::size_t i, std::size_t count, VD c, VD s) const
    {
        float a[2 * kLanes] = {}, b[2 * kLanes] = {};
        const std::size_t bytes = count * 2 * sizeof(float);
        std::memcpy(a, source + 2 * i, bytes);
        Vector(c, s, a, b);
        std::memcpy(target + 2 * i, b, bytes);
    }
};

/// (A cos, A sin) in place, A the sample's amplitude: the first member of a polar one, else a root with im im in single
/// precision.
template <bool polar>
struct AmplitudeSink
{
    float* z;
    LML_MEMBER void Vector(VD c, VD s, float* at) const
    {
        VD a, b;
        LoadComplex(at, a, b);
        if constexpr (!polar)
            a = Sqrt(a * a + RoundToFloat(b * b));
        StoreSamples(at, a * c, a * s);
    }
    LML_MEMBER void Whole(std::size_t i, VD c, VD s) const { Vector(c, s, z + 2 * i); }
    LML_MEMBER void Part(std::size_t i, std::size_t count, VD c, VD s) const
    {
        float part[2 * kLanes] = {};
        std::memcpy(part, z + 2 * i, count * 2 * sizeof(float));
        Vector(c, s, part);
        std::memcpy(z + 2 * i, part, count * 2 * sizeof(float));
    }
};

// --------------------------------------------------------------------------------------------------------------
// entries

#if LML_WIDE_LEVEL == 2
/// A row of transfer functions with the square roots one step ahead of the sines, where the registers suffice for it.
template <class Form, class Sink>
LML_INLINE void DriveAhead(const PhaseForm& f, std::int32_t first, std::size_t n, const Sink& sink)
{
    const Form form(f);
    constexpr std::size_t U = kSinCosGroup;
    VD x[U], next[U], s[U], c[U];
    std::size_t i = 0;
#pragma GCC unroll 8
    for (std::size_t u = 0; u < U; ++u)
        next[u] = form.At(Columns(first, u * kLanes));
    for (; i + U * kLanes <= n; i += U * kLanes)
    {
#pragma GCC unroll 8
        for (std::size_t u = 0; u < U; ++u)
        {
            x[u] = next[u];
            next[u] = form.At(Columns(first, i + (U + u) * kLanes));
        }
        SinCosGroup<U>(x, s, c);
#pragma GCC unroll 8
        for (std::size_t u = 0; u < U; ++u)
            sink.Whole(i + u * kLanes, c[u], s[u]);
    }
    for (int v = 0; i < n; i += kLanes, ++v)
    {
        SinCosV(next[v], s[0], c[0]);
        if (i + kLanes <= n)
            sink.Whole(i, c[0], s[0]);
        else
            sink.Part(i, n - i, c[0], s[0]);
    }
}
#endif

/// n phases, whole vectors of them there, to sines and cosines, whole vectors too.
LML_NOINLINE void SinCosBlock(const double* phase, std::size_t n, double* sines, double* cosines)
{
    Drive(Stored{phase}, n + (kLanes - n % kLanes) % kLanes, DoubleSink{sines, cosines});
}

/// A block's factors straight into a sink.
template <class Sink>
LML_NOINLINE void DriveBlock(const double* phase, std::size_t n, const Sink& sink)
{
    Drive(Stored{phase}, n, sink);
}

/// The same by way of memory: for sinks that come in many kinds, each of which would hold the sine again.
template <class Sink>
LML_NOINLINE void ApplyBlock(std::size_t n, const double* s, const double* c, const Sink& sink)
{
    std::size_t i = 0;
    for (; i + kLanes <= n; i += kLanes)
        sink.Whole(i, VD::LoadU(c + i), VD::LoadU(s + i));
    if (i < n)
        sink.Part(i, n - i, VD::LoadU(c + i), VD::LoadU(s + i));
}

static void SinCosRow(const double* x, std::size_t n, double* s, double* c)
{
    const std::size_t whole = n - n % kLanes;
    SinCosBlock(x, whole, s, c);
    if (whole < n)
    {
        double part[kLanes] = {}, a[kLanes], b[kLanes];
        const std::size_t bytes = (n - whole) * sizeof(double);
        std::memcpy(part, x + whole, bytes);
        SinCosBlock(part, kLanes, a, b);
        std::memcpy(s + whole, a, bytes);
        std::memcpy(c + whole, b, bytes);
    }
}

static void Unit(const PhaseForm& f, std::int32_t first, std::size_t n, float* up, float* down)
{
#if LML_WIDE_LEVEL == 2
    if (f.kind == PhaseForm::Kind::Transfer)
    {
        if (down == nullptr && up != nullptr)
            DriveAhead<TransferForm>(f, first, n, UnitSink{up, nullptr});
        else
            DriveAhead<TransferForm>(f, first, n, UnitSink{up, down});
        return;
    }
#endif
    InBlocks(f, first, n,
             [=](const double* phase, std::size_t start, std::size_t count) LML_LAMBDA
             {
                 DriveBlock(phase, count,
                            UnitSink{up != nullptr ? up + 2 * start : nullptr,
                                     down != nullptr ? down - 2 * static_cast<std::ptrdiff_t>(start) : nullptr});
             });
}

static void UnitSplit(const PhaseForm& f, std::int32_t first, std::size_t n, float* re, float* im)
{
#if LML_WIDE_LEVEL == 2
    if (f.kind == PhaseForm::Kind::Transfer)
        return DriveAhead<TransferForm>(f, first, n, SplitSink{re, im});
    if (f.kind == PhaseForm::Kind::Shifted)
        return DriveAhead<ShiftedForm>(f, first, n, SplitSink{re, im});
#endif
    InBlocks(f, first, n,
             [=](const double* phase, std::size_t start, std::size_t count) LML_LAMBDA {
                 DriveBlock(phase, count, SplitSink{re + start, im + start});
             });
}

template <PhaseProduct::Rule rule>
LML_INLINE void MultiplyBlock(const PhaseProduct& p, std::size_t n, const double* s, const double* c, const float* from,
                              float* to)
{
    const bool plain = !(rule == PhaseProduct::Rule::Double && (p.hasPre || p.hasPost));
    if (plain)
        ApplyBlock(n, s, c, ProductSink<rule, true>(p, from, to));
    else
        ApplyBlock(n, s, c, ProductSink<rule, false>(p, from, to));
}

static void Multiply(const PhaseForm& f, const PhaseProduct& p, std::int32_t first, std::size_t n, const float* from,
                     float* to)
{
    using Rule = PhaseProduct::Rule;
    alignas(64) double sines[kBlock], cosines[kBlock];
    double* const s = sines;
    double* const c = cosines;
    InBlocks(f, first, n,
             [=, &p](const double* phase, std::size_t start, std::size_t count) LML_LAMBDA
             {
                 const float* const a = from + 2 * start;
                 float* const b = to + 2 * start;
                 SinCosBlock(phase, count, s, c);
                 switch (p.rule)
                 {
                 case Rule::Mixed:
                     MultiplyBlock<Rule::Mixed>(p, count, s, c, a, b);
                     break;
                 case Rule::Rounded:
                     MultiplyBlock<Rule::Rounded>(p, count, s, c, a, b);
                     break;
                 case Rule::Double:
                     MultiplyBlock<Rule::Double>(p, count, s, c, a, b);
                     break;
                 }
             });
}

static void SetPhase(const PhaseForm& f, std::int32_t first, std::size_t n, float* z)
{
    alignas(64) double sines[kBlock], cosines[kBlock];
    double* const s = sines;
    double* const c = cosines;
    InBlocks(f, first, n,
             [=](const double* phase, std::size_t start, std::size_t count) LML_LAMBDA
             {
                 SinCosBlock(phase, count, s, c);
                 ApplyBlock(count, s, c, AmplitudeSink<false>{z + 2 * start});
             });
}

static void PolarToComplex(float* z, std::size_t n)
{
    const std::size_t whole = n - n % kLanes;
    Drive(StoredPolar{z}, whole, AmplitudeSink<true>{z});
    if (whole < n)
    {
        float part[2 * kLanes] = {};
        const std::size_t bytes = (n - whole) * 2 * sizeof(float);
        std::memcpy(part, z + 2 * whole, bytes);
        Drive(StoredPolar{part}, kLanes, AmplitudeSink<true>{part});
        std::memcpy(z + 2 * whole, part, bytes);
    }
}

} // namespace phase

extern const PhaseTable phaseTable;
const PhaseTable phaseTable = {phase::SinCosRow, phase::Unit,     phase::UnitSplit,
                               phase::Multiply,  phase::SetPhase, phase::PolarToComplex};

} // namespace LumoraLib::detail::LML_WIDE_NS
