// Kernels of the wide transform engine. Compiled once per instruction set by WideForEach.h.
//
// Samples are worked on as split vectors: W real parts, then W imaginary parts (a "pair", 2 W floats). In strips the
// lanes are neighbouring columns; in rows they are neighbouring samples. All butterflies are the forward kernel exp(-2
// pi i ..); the inverse is the forward one on samples whose real and imaginary parts are exchanged, which costs nothing
// at load and store. The order of operations depends on the length alone, never on W.

namespace LumoraLib::detail::LML_WIDE_NS
{
static constexpr int W = VF::lanes;
static constexpr std::ptrdiff_t kPair = 2 * W;
static constexpr int kGroups = int(kWideStrip) / W; // vectors across a strip

// ------------------------------------------------------------------------------------------------- complex vectors

struct C
{
    VF r, i;
};

LML_INLINE C operator+(C a, C b)
{
    return {a.r + b.r, a.i + b.i};
}
LML_INLINE C operator-(C a, C b)
{
    return {a.r - b.r, a.i - b.i};
}
/// a - i b
LML_INLINE C SubI(C a, C b)
{
    return {a.r + b.i, a.i - b.r};
}
/// a + i b
LML_INLINE C AddI(C a, C b)
{
    return {a.r - b.i, a.i + b.r};
}
LML_INLINE C Times(C a, VF re, VF im)
{
    return {a.r * re - a.i * im, a.r * im + a.i * re};
}
LML_INLINE C Scaled(C a, VF f)
{
    return {a.r * f, a.i * f};
}

LML_INLINE C LoadPair(const float* p)
{
    return {VF::Load(p), VF::Load(p + W)};
}
LML_INLINE void StorePair(float* p, C a)
{
    a.r.Store(p);
    a.i.Store(p + W);
}

// Interleaved samples to split vectors and back, by shuffles within 128 bits (the cheapest ones): lane l then holds
// sample WideLaneSample(l, W). Whatever enters so must leave so.
#if LML_WIDE_LEVEL == 2
#define LML_SHUFFLE(OP, ...) VF(_mm512_##OP(__VA_ARGS__))
#elif LML_WIDE_LEVEL == 1
#define LML_SHUFFLE(OP, ...) VF(_mm256_##OP(__VA_ARGS__))
#else
#define LML_SHUFFLE(OP, ...) VF(_mm_##OP(__VA_ARGS__))
#endif
LML_INLINE C Split(VF a, VF b)
{
    return {LML_SHUFFLE(shuffle_ps, a.v, b.v, 0x88), LML_SHUFFLE(shuffle_ps, a.v, b.v, 0xdd)};
}
LML_INLINE VF JoinLow(C a)
{
    return LML_SHUFFLE(unpacklo_ps, a.r.v, a.i.v);
}
LML_INLINE VF JoinHigh(C a)
{
    return LML_SHUFFLE(unpackhi_ps, a.r.v, a.i.v);
}
#undef LML_SHUFFLE

LML_INLINE C LoadSamples(const float* p)
{
    return Split(VF::LoadU(p), VF::LoadU(p + W));
}
LML_INLINE void StoreSamples(float* p, C a)
{
    JoinLow(a).StoreU(p);
    JoinHigh(a).StoreU(p + W);
}

LML_INLINE void StreamSamples(float* p, C a)
{
    JoinLow(a).Stream(p);
    JoinHigh(a).Stream(p + W);
}

template <bool kSwap>
LML_INLINE C Exchanged(C a)
{
    return kSwap ? C{a.i, a.r} : a;
}

/// Values in sample order to lane order, and those of the mirrored samples (last first) to lane order.
LML_INLINE VF LaneOrder(VF a)
{
#if LML_WIDE_LEVEL == 2
    return VF(_mm512_permutexvar_ps(_mm512_setr_epi32(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15), a.v));
#elif LML_WIDE_LEVEL == 1
    return VF(_mm256_permutevar8x32_ps(a.v, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7)));
#else
    return a;
#endif
}
LML_INLINE VF LaneOrderMirrored(VF a)
{
#if LML_WIDE_LEVEL == 2
    return VF(_mm512_permutexvar_ps(_mm512_setr_epi32(15, 14, 7, 6, 13, 12, 5, 4, 11, 10, 3, 2, 9, 8, 1, 0), a.v));
#elif LML_WIDE_LEVEL == 1
    return VF(_mm256_permutevar8x32_ps(a.v, _mm256_setr_epi32(7, 6, 3, 2, 5, 4, 1, 0)));
#else
    return VF(_mm_shuffle_ps(a.v, a.v, 0x1b));
#endif
}

// ----------------------------------------------------------------------------------------------------- butterflies

LML_INLINE void Radix2(C& a, C& b)
{
    const C t = a - b;
    a = a + b;
    b = t;
}

LML_INLINE void Radix4(C& a, C& b, C& c, C& d)
{
    const C s0 = a + c, d0 = a - c, s1 = b + d, d1 = b - d;
    a = s0 + s1;
    b = SubI(d0, d1);
    c = s0 - s1;
    d = AddI(d0, d1);
}

/// The same for a third input still to be multiplied by -i.
LML_INLINE void Radix4ThirdTurned(C& a, C& b, C& c, C& d)
{
    const C s0 = SubI(a, c), d0 = AddI(a, c), s1 = b + d, d1 = b - d;
    a = s0 + s1;
    b = SubI(d0, d1);
    c = s0 - s1;
    d = AddI(d0, d1);
}

/// Natural order in and out.
LML_INLINE void Radix8(C* x)
{
    Radix4(x[0], x[2], x[4], x[6]);
    Radix4(x[1], x[3], x[5], x[7]);
    const VF h(0.70710678118654752f); // sqrt(1/2)
    const C e0 = x[0], e1 = x[2], e2 = x[4], e3 = x[6];
    const C o0 = x[1], o1 = x[3], o2 = x[5], o3 = x[7];
    const C t1 = {h * (o1.r + o1.i), h * (o1.i - o1.r)}; // o1 exp(-i pi/4)
    const C t3 = {h * (o3.i - o3.r), h * (o3.r + o3.i)}; // o3 exp(-3 i pi/4), imaginary part negated
    x[0] = e0 + o0;
    x[4] = e0 - o0;
    x[1] = e1 + t1;
    x[5] = e1 - t1;
    x[2] = SubI(e2, o2);
    x[6] = AddI(e2, o2);
    x[3] = {e3.r + t3.r, e3.i - t3.i};
    x[7] = {e3.r - t3.r, e3.i + t3.i};
}

/// First half of a radix-16 butterfly: afterwards Radix16Last<k> of x[4 k .. 4 k + 3] gives outputs k, k + 4, k + 8, k
/// + 12.
LML_INLINE void Radix16First(C* x)
{
    // cos and sin of pi/8, and sqrt(1/2)
    const VF c(0.92387953251128674f), s(0.38268343236508977f), h(0.70710678118654752f);
    const VF minusC(-0.92387953251128674f), minusS(-0.38268343236508977f), minusH(-0.70710678118654752f);
#pragma GCC unroll 4
    for (int q = 0; q < 4; ++q)
        Radix4(x[q], x[4 + q], x[8 + q], x[12 + q]);
    // x[4 k + q] times exp(-2 pi i q k / 16); the one with q k = 4 is turned inside its butterfly.
    x[5] = Times(x[5], c, minusS);
    x[6] = {h * (x[6].r + x[6].i), h * (x[6].i - x[6].r)};
    x[7] = Times(x[7], s, minusC);
    x[9] = {h * (x[9].r + x[9].i), h * (x[9].i - x[9].r)};
    x[11] = {h * (x[11].i - x[11].r), minusH * (x[11].i + x[11].r)};
    x[13] = Times(x[13], s, minusC);
    x[14] = {h * (x[14].i - x[14].r), minusH * (x[14].i + x[14].r)};
    x[15] = Times(x[15], minusC, s);
}

LML_INLINE void Radix16Last(int k, C* x)
{
    if (k == 2)
        Radix4ThirdTurned(x[0], x[1], x[2], x[3]);
    else
        Radix4(x[0], x[1], x[2], x[3]);
}

/// Natural order in and out.
LML_INLINE void Radix16(C* x)
{
    Radix16First(x);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
        Radix16Last(k, x + 4 * k);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
#pragma GCC unroll 4
        for (int q = k + 1; q < 4; ++q)
        {
            const C t = x[4 * k + q];
            x[4 * k + q] = x[4 * q + k];
            x[4 * q + k] = t;
        }
}

template <int R>
LML_INLINE void Radix(C* x)
{
    if constexpr (R == 2)
        Radix2(x[0], x[1]);
    else if constexpr (R == 4)
        Radix4(x[0], x[1], x[2], x[3]);
    else if constexpr (R == 8)
        Radix8(x);
    else if constexpr (R == 16)
        Radix16(x);
}

// -------------------------------------------------------------------------------------- lane-parallel
// transforms, 1..128

/// One transform per lane, for all vectors across a strip. Elements are `step` floats apart, vectors `group` floats.
/// Split vectors give real and imaginary parts apart, so that an exchange is an exchange of pointers.
struct LaneArgs
{
    const float* inRe;
    const float* inIm;
    std::ptrdiff_t inStep, inGroup;
    float* outRe;
    float* outIm;
    std::ptrdiff_t outStep, outGroup;
    float* tile;        ///< 128 pairs
    const float* inner; ///< WideLength::inner
    const float* post;  ///< factor per output
    std::ptrdiff_t postStep, postGroup;
    int groups;
    float scale; ///< for samples going out
};

enum class Post
{
    None,
    Scalar, ///< a (re, im) pair of floats for all lanes
    Vector  ///< a pair of vectors
};

/// Where elements come from or go to: split vectors, or rows of samples. For samples the two pointers are the places of
/// element 0 and of element L/2 less their index, which differ in a half shift only; Exchanged turns the sign.
enum class Form
{
    Split,
    Samples,
    Exchanged
};

struct LaneSteps
{
    std::ptrdiff_t inStep, outStep, postStep;
    float scale;
};

template <Form kIn>
LML_INLINE C LaneLoad(const LaneSteps& a, const float* re, const float* im, std::ptrdiff_t j, bool high)
{
    if constexpr (kIn == Form::Split)
        return {VF::Load(re + j * a.inStep), VF::Load(im + j * a.inStep)};
    else
        return Exchanged<kIn == Form::Exchanged>(LoadSamples((high ? im : re) + j * a.inStep));
}

template <Form kOut, Post kPost>
LML_INLINE void LaneStore(const LaneSteps& a, float* re, float* im, const float* post, std::ptrdiff_t k, bool high, C v)
{
    if constexpr (kPost == Post::Scalar)
        v = Times(v, VF(post[k * a.postStep]), VF(post[k * a.postStep + 1]));
    else if constexpr (kPost == Post::Vector)
        v = Times(v, VF::Load(post + k * a.postStep), VF::Load(post + k * a.postStep + W));
    if constexpr (kOut == Form::Split)
    {
        v.r.Store(re + k * a.outStep);
        v.i.Store(im + k * a.outStep);
    }
    else
        StoreSamples((high ? im : re) + k * a.outStep, Exchanged<kOut == Form::Exchanged>(Scaled(v, VF(a.scale))));
}

/// `side` is told of each butterfly and each finished vector: it fetches rows while the arithmetic goes on.
template <int L, Form kIn, Form kOut, Post kPost, class Side>
LML_INLINE void LaneTransform(const LaneArgs& args, Side& side)
{
    // Fields are read once: vector stores may alias anything behind a reference.
    const LaneSteps a = {args.inStep, args.outStep, args.postStep, args.scale};
    const float *inRe = args.inRe, *inIm = args.inIm, *post = args.post;
    float *outRe = args.outRe, *outIm = args.outIm;
    float* const tile = args.tile;
    const float* const inner = args.inner;
    const std::ptrdiff_t inGroup = args.inGroup, outGroup = args.outGroup, postGroup = args.postGroup;
    const int groups = args.groups;
    for (int g = 0; g < groups; ++g)
    {
        if constexpr (L <= 16)
        {
            C x[L];
#pragma GCC unroll 16
            for (int j = 0; j < L; ++j)
                x[j] = LaneLoad<kIn>(a, inRe, inIm, j, 2 * j >= L && L > 1);
            Radix<L>(x);
#pragma GCC unroll 16
            for (int k = 0; k < L; ++k)
                LaneStore<kOut, kPost>(a, outRe, outIm, post, k, 2 * k >= L && L > 1, x[k]);
        }
        else
        {
            constexpr int lg = L == 32 ? 5 : L == 64 ? 6 : 7;
            constexpr int P = WideFirstRadix(lg), Q = L / P;
            for (std::ptrdiff_t q = 0; q < Q; ++q)
            {
                C x[P];
#pragma GCC unroll 16
                for (int p = 0; p < P; ++p)
                    x[p] = LaneLoad<kIn>(a, inRe, inIm, p * Q + q, 2 * p >= P);
                Radix<P>(x);
                side.Step();
                const float* w = inner + 2 * P * q;
                StorePair(tile + q * kPair, x[0]);
#pragma GCC unroll 16
                for (int k = 1; k < P; ++k)
                    StorePair(tile + (k * Q + q) * kPair, Times(x[k], VF(w[2 * k]), VF(w[2 * k + 1])));
            }
            for (std::ptrdiff_t k1 = 0; k1 < P; ++k1)
            {
                C x[Q];
                const float* t = tile + k1 * Q * kPair;
#pragma GCC unroll 16
                for (int q = 0; q < Q; ++q)
                    x[q] = LoadPair(t + q * kPair);
                Radix<Q>(x);
                side.Step();
#pragma GCC unroll 16
                for (int k = 0; k < Q; ++k)
                    LaneStore<kOut, kPost>(a, outRe, outIm, post, k1 + P * k, 2 * k >= Q, x[k]);
            }
        }
        side.Group();
        inRe += inGroup;
        inIm += inGroup;
        outRe += outGroup;
        outIm += outGroup;
        post += postGroup;
    }
}

template <Form kIn, Form kOut, Post kPost, class Side>
LML_NOINLINE void Lane(int lg, const LaneArgs& a, Side& side)
{
    switch (lg)
    {
    case 0:
        return LaneTransform < 1, kIn, kOut, kPost == Post::Scalar ? Post::None : kPost > (a, side);
    case 1:
        return LaneTransform<2, kIn, kOut, kPost>(a, side);
    case 2:
        return LaneTransform<4, kIn, kOut, kPost>(a, side);
    case 3:
        return LaneTransform<8, kIn, kOut, kPost>(a, side);
    case 4:
        return LaneTransform<16, kIn, kOut, kPost>(a, side);
    case 5:
        return LaneTransform<32, kIn, kOut, kPost>(a, side);
    case 6:
        return LaneTransform<64, kIn, kOut, kPost>(a, side);
    default:
        return LaneTransform<128, kIn, kOut, kPost>(a, side);
    }
}

struct NoSide
{
    LML_MEMBER void Step() {}
    LML_MEMBER void Group() {}
};

// ------------------------------------------------------------------------------------- rows of a strip, to and from
// tiles

/// Rows of a strip on the way between memory and a tile, where element e of vector g across the strip lies at
/// g * groupStep + e * kPair. The rows have the transform indices first, first + step, ... What is plain (whole strips,
/// no factors, all rows or a run of them that is not shifted) is moved by pointers alone: row e lies at
/// row + e * rowStep, and a half shift adds `low` in the first half of the list, `high` in the other.
struct RowMove
{
    float* row = nullptr;
    std::ptrdiff_t rowStep = 0, low = 0, high = 0;
    float* tile = nullptr;
    std::ptrdiff_t groupStep = 0;
    std::ptrdiff_t count = 0;
    std::ptrdiff_t begin = 0, end = 0; ///< the rows of a plain list that count
    std::size_t first = 0, step = 0;
    bool plain = false;
    LML_MEMBER float* Row(std::ptrdiff_t e) const { return row + e * rowStep + (2 * e < count ? low : high); }
};

/// What belongs to the array: its rows, the range of them that counts, the columns of the present strip.
struct RowPlace
{
    float* data;
    std::ptrdiff_t stride;
    WideRange range;
    bool all;
    std::size_t n, origin, flip;
    std::size_t column = 0, lo = 0, hi = 0; ///< columns; the strip's part in floats
    LML_MEMBER RowPlace(const void* samples, std::size_t samplesStride, WideRange wanted, std::size_t length,
                        std::size_t from, bool shift)
        : data(static_cast<float*>(const_cast<void*>(samples))), stride(std::ptrdiff_t(2 * samplesStride)),
          range(wanted), all(wanted.begin == 0 && wanted.end == length), n(length), origin(from),
          flip(shift ? length / 2 : 0)
    {
    }
    LML_MEMBER void SetStrip(WideStripAt at)
    {
        column = at.column;
        lo = 2 * at.lo;
        hi = 2 * at.hi;
    }
    LML_MEMBER bool Whole() const { return hi - lo == 2 * kWideStrip; }
    LML_MEMBER bool Has(std::size_t axis) const
    {
        return all || (range.begin <= range.end ? axis >= range.begin && axis < range.end
                                                : axis >= range.begin || axis < range.end);
    }
    LML_MEMBER float* Row(std::size_t axis) const
    {
        return data + 2 * column + (std::ptrdiff_t(axis) - std::ptrdiff_t(origin)) * stride;
    }
    /// How many of the rows first, first + step, ... lie before `axis`.
    static LML_MEMBER std::ptrdiff_t Before(std::size_t axis, std::size_t first, std::size_t step, std::size_t count)
    {
        const std::size_t rows = axis > first ? (axis - first - 1) / step + 1 : 0;
        return std::ptrdiff_t(rows < count ? rows : count);
    }
    /// The rows first, first + step, ...: all of a digit of the axis.
    LML_MEMBER void Set(RowMove& m, bool simple, float* tile, std::ptrdiff_t groupStep, std::size_t first,
                        std::size_t step, std::size_t count) const
    {
        m.plain = simple && Whole() && (all || (flip == 0 && range.begin <= range.end));
        m.begin = all ? 0 : Before(range.begin, first, step, count);
        m.end = all ? std::ptrdiff_t(count) : Before(range.end, first, step, count);
        m.row = Row(first);
        m.rowStep = std::ptrdiff_t(step) * stride;
        // The top bit of an index is that of e, or, when there is one row only, that of `first`.
        m.low = (first < n - flip ? 1 : -1) * std::ptrdiff_t(flip) * stride;
        m.high = -m.low;
        m.tile = tile;
        m.groupStep = groupStep;
        m.count = std::ptrdiff_t(count);
        m.first = first;
        m.step = step;
    }
};

/// Fetches rows that are read soon into the second cache, one after each butterfly of the transforms that go on
/// meanwhile: loads that have to wait for memory would stop them, and so would many requests at once.
struct RowAhead
{
    RowMove move;
    std::ptrdiff_t next = 0, share = 0, due = 0;
    /// With no count there is nothing to fetch.
    LML_MEMBER void Set(const RowPlace& place, std::size_t first, std::size_t step, std::size_t count)
    {
        place.Set(move, true, nullptr, 0, first, step, count);
        next = due = move.begin;
        if (!move.plain)
            move.end = move.begin;
        share = (move.end - move.begin + kGroups - 1) / kGroups;
    }
    LML_MEMBER void Step()
    {
        if (next >= move.end)
            return;
        const float* row = move.Row(next++);
#pragma GCC unroll 8
        for (std::size_t line = 0; line < kWideStrip / 8; ++line)
            _mm_prefetch(reinterpret_cast<const char*>(row + 16 * line), _MM_HINT_T1);
    }
    LML_MEMBER void Group()
    {
        due += share;
        while (next < due && next < move.end)
            Step();
    }
};

struct RowReader
{
    RowPlace place;
    RowMove move;
    RowAhead ahead;
    const float* pre;
    std::ptrdiff_t re, im; ///< where the parts go within a pair
    bool far;              ///< rows are fetched ahead

    LML_MEMBER RowReader(const WideStripArgs& p, bool exchanged)
        : place(p.job.source.samples, p.job.source.stride, p.job.source.range, p.job.n, p.job.source.origin,
                p.job.source.shift),
          pre(p.pre), re(exchanged ? W : 0), im(exchanged ? 0 : W), far(p.bytes > kWideNext)
    {
    }
    /// The a rows that follow rows b, b + step, ... are fetched from now on.
    LML_MEMBER void FetchAfter(std::size_t b, std::size_t a, std::size_t step)
    {
        const bool later = far && b + 1 < step;
        ahead.Set(place, later ? b + 1 : 0, step, later ? a : 0);
    }
    /// Reads all rows of a tile.
    __attribute__((noinline)) void Read(float* tile, std::ptrdiff_t groupStep, std::size_t first, std::size_t step,
                                        std::size_t count)
    {
        place.Set(move, pre == nullptr, tile, groupStep, first, step, count);
        if (!move.plain)
            return Slow();
        const std::ptrdiff_t r = re, i = im;
        float* to = tile;
        const auto zeros = [&](std::ptrdiff_t begin, std::ptrdiff_t end) LML_LAMBDA
        {
            for (std::ptrdiff_t e = begin; e < end; ++e, to += kPair)
#pragma GCC unroll 16
                for (int g = 0; g < kGroups; ++g)
                    StorePair(to + g * groupStep, {VF::Zero(), VF::Zero()});
        };
        zeros(0, move.begin);
        for (std::ptrdiff_t e = move.begin; e < move.end; ++e, to += kPair)
        {
            const float* from = move.Row(e);
#pragma GCC unroll 16
            for (int g = 0; g < kGroups; ++g)
            {
                const C v = LoadSamples(from + g * kPair);
                v.r.Store(to + g * groupStep + r);
                v.i.Store(to + g * groupStep + i);
            }
        }
        zeros(move.end, move.count);
    }

private:
    __attribute__((noinline)) void Slow()
    {
        for (std::ptrdiff_t e = 0; e < move.count; ++e)
        {
            const std::size_t axis = (move.first + std::size_t(e) * move.step) ^ place.flip;
            float* to = move.tile + e * kPair;
            const bool wanted = place.Has(axis);
            const float* from = wanted ? place.Row(axis) : nullptr;
            for (std::ptrdiff_t g = 0; g < kGroups; ++g)
            {
                C v = {VF::Zero(), VF::Zero()};
                if (wanted && place.Whole())
                    v = LoadSamples(from + g * kPair);
                else if (wanted)
                {
                    alignas(64) float piece[2 * W];
                    for (std::size_t f = 0; f < 2 * W; ++f)
                    {
                        const std::size_t at = std::size_t(g * kPair) + f;
                        piece[f] = at >= place.lo && at < place.hi ? from[at] : 0.0f;
                    }
                    v = LoadSamples(piece);
                }
                if (wanted && pre != nullptr)
                    v = Times(v, VF(pre[2 * axis]), VF(pre[2 * axis + 1]));
                v.r.Store(to + g * move.groupStep + re);
                v.i.Store(to + g * move.groupStep + im);
            }
        }
    }
};

struct RowWriter
{
    RowPlace place;
    RowMove move;
    const float* post;
    const WideLength* twist;
    float scale;
    bool stream;
    std::ptrdiff_t re, im;

    LML_MEMBER RowWriter(const WideStripArgs& p, bool exchanged)
        : place(p.job.target.samples, p.job.target.stride, p.job.target.range, p.job.n, p.job.target.origin,
                p.job.target.shift),
          post(p.post), twist(p.twist), scale(p.job.scale), stream(p.stream), re(exchanged ? W : 0),
          im(exchanged ? 0 : W)
    {
    }
    /// Writes all of a tile.
    __attribute__((noinline)) void Write(float* tile, std::ptrdiff_t groupStep, std::size_t first, std::size_t step,
                                         std::size_t count)
    {
        place.Set(move, post == nullptr, tile, groupStep, first, step, count);
        if (!move.plain)
            return Slow();
        const std::ptrdiff_t r = re, i = im, begin = move.begin, end = move.end;
        const VF f(scale);
        const float* from = tile + begin * kPair;
        if (twist != nullptr)
        {
            for (std::ptrdiff_t e = begin; e < end; ++e, from += kPair)
            {
                float* to = move.Row(e);
                for (std::ptrdiff_t g = 0; g < kGroups; ++g)
                {
                    const C v = Get(from + g * groupStep, first + std::size_t(e) * step, 0, g);
                    if (stream)
                        StreamSamples(to + g * kPair, v);
                    else
                        StoreSamples(to + g * kPair, v);
                }
            }
            return;
        }
        if (stream)
        {
            for (std::ptrdiff_t e = begin; e < end; ++e, from += kPair)
            {
                float* to = move.Row(e);
#pragma GCC unroll 16
                for (int g = 0; g < kGroups; ++g)
                    StreamSamples(to + g * kPair,
                                  Scaled({VF::Load(from + g * groupStep + r), VF::Load(from + g * groupStep + i)}, f));
            }
            return;
        }
        for (std::ptrdiff_t e = begin; e < end; ++e, from += kPair)
        {
            float* to = move.Row(e);
#pragma GCC unroll 16
            for (int g = 0; g < kGroups; ++g)
                StoreSamples(to + g * kPair,
                             Scaled({VF::Load(from + g * groupStep + r), VF::Load(from + g * groupStep + i)}, f));
        }
    }

private:
    LML_MEMBER C Get(const float* from, std::size_t k, std::size_t axis, std::ptrdiff_t g) const
    {
        C v = LoadPair(from);
        if (twist != nullptr)
        {
            const float* s = twist->stripRoot + 2 * (place.column / kWideStrip * twist->side + k);
            const float* l = twist->laneRoot + 2 * k * kWideStrip + g * W;
            const C lane = {LaneOrder(VF::Load(l)), LaneOrder(VF::Load(l + kWideStrip))};
            const C w = Times(lane, VF(s[0]), VF(s[1]));
            v = Times(v, w.r, w.i);
        }
        if (re != 0)
            v = {v.i, v.r};
        v = Scaled(v, VF(scale));
        if (post != nullptr)
            v = Times(v, VF(post[2 * axis]), VF(post[2 * axis + 1]));
        return v;
    }
    __attribute__((noinline)) void Slow()
    {
        for (std::ptrdiff_t e = 0; e < move.count; ++e)
        {
            const std::size_t k = move.first + std::size_t(e) * move.step;
            const std::size_t axis = k ^ place.flip;
            if (!place.Has(axis))
                continue;
            float* to = place.Row(axis);
            const float* from = move.tile + e * kPair;
            for (std::ptrdiff_t g = 0; g < kGroups; ++g)
            {
                const C v = Get(from + g * move.groupStep, k, axis, g);
                if (place.Whole())
                {
                    if (stream)
                        StreamSamples(to + g * kPair, v);
                    else
                        StoreSamples(to + g * kPair, v);
                    continue;
                }
                alignas(64) float piece[2 * W];
                StoreSamples(piece, v);
                for (std::size_t f = 0; f < 2 * W; ++f)
                {
                    const std::size_t at = std::size_t(g * kPair) + f;
                    if (at >= place.lo && at < place.hi)
                        to[at] = piece[f];
                }
            }
        }
    }
};

// ---------------------------------------------------------------------------------------------------------- strips

/// Where things lie in the scratch of a strip. The tile is padded by one pair per column of vectors: powers of two fall
/// in the same cache sets. Sizes do not depend on W.
struct StripLayout
{
    std::size_t a, b;
    std::ptrdiff_t tileA, tileB; ///< group steps of the tile for the two lengths
    std::ptrdiff_t line, group;  ///< buffer: from one k1 to the next, from one group to the next
    float *tile, *inner, *buffer, *rest;
    LML_MEMBER StripLayout(const WideLength& length, float* scratch)
        : a(length.a), b(length.b), tileA(std::ptrdiff_t(a + 1) * kPair), tileB(std::ptrdiff_t(b + 1) * kPair),
          line(std::ptrdiff_t(b + 1) * kPair), group(std::ptrdiff_t(a * (b + 1) + 1) * kPair)
    {
        const std::ptrdiff_t side = (tileA > tileB ? tileA : tileB) * kGroups;
        tile = scratch;
        inner = tile + side;
        buffer = inner + 128 * 32; // 128 pairs of the widest build
        rest = buffer + group * kGroups;
    }
};

/// Gathers a strip and does its transforms over a' with the twiddles: buffer[g][k1][b'].
LML_INLINE void TileFirst(const WideLength& length, const StripLayout& at, RowReader& reader)
{
    for (std::size_t b = 0; b < at.b; ++b)
    {
        reader.Read(at.tile, at.tileA, b, at.b, at.a);
        reader.FetchAfter(b, at.a, at.b);
        float* out = at.buffer + std::ptrdiff_t(b) * kPair;
        Lane<Form::Split, Form::Split, Post::Scalar>(length.lengthA->lg,
                                                     {at.tile, at.tile + W, kPair, at.tileA, out, out + W, at.line,
                                                      at.group, at.inner, length.lengthA->inner,
                                                      length.twiddle + 2 * b * at.a, 2, 0, kGroups, 1.0f},
                                                     reader.ahead);
    }
}

/// The same for whole strips read without a tile: for grids that stay in the near caches, where a row may be visited
/// once per vector, and a > 1, so that each transform has both halves of the rows.
template <Form kForm>
LML_INLINE void DirectFirst(const WideStripArgs& p, const StripLayout& at, RowReader& reader)
{
    const WideLength& length = *p.length;
    const std::ptrdiff_t stride = std::ptrdiff_t(2 * p.job.source.stride), step = std::ptrdiff_t(at.b) * stride;
    const std::ptrdiff_t half = p.job.source.shift ? std::ptrdiff_t(length.n / 2) * stride : 0;
    const float* in = reinterpret_cast<const float*>(p.job.source.samples) + 2 * reader.place.column;
    for (std::size_t b = 0; b < at.b; ++b, in += stride)
    {
        reader.FetchAfter(b, at.a, at.b);
        float* to = at.buffer + std::ptrdiff_t(b) * kPair;
        Lane<kForm, Form::Split, Post::Scalar>(length.lengthA->lg,
                                               {in + half, in - half, step, kPair, to, to + W, at.line, at.group,
                                                at.inner, length.lengthA->inner, length.twiddle + 2 * b * at.a, 2, 0,
                                                kGroups, 1.0f},
                                               reader.ahead);
    }
}

/// And for lengths that take one visit, from rows to rows.
template <Form kForm>
LML_INLINE void DirectWhole(const WideStripArgs& p, const StripLayout& at, std::size_t column)
{
    const WideLength& length = *p.length;
    const std::ptrdiff_t source = std::ptrdiff_t(2 * p.job.source.stride),
                         target = std::ptrdiff_t(2 * p.job.target.stride);
    const std::ptrdiff_t halfIn = p.job.source.shift ? std::ptrdiff_t(length.n / 2) * source : 0;
    const std::ptrdiff_t halfOut = p.job.target.shift ? std::ptrdiff_t(length.n / 2) * target : 0;
    const float* in = reinterpret_cast<const float*>(p.job.source.samples) + 2 * column;
    float* out = reinterpret_cast<float*>(p.job.target.samples) + 2 * column;
    NoSide none;
    Lane<kForm, kForm, Post::None>(length.lg,
                                   {in + halfIn, in - halfIn, source, kPair, out + halfOut, out - halfOut, target,
                                    kPair, at.inner, length.inner, nullptr, 0, 0, kGroups, p.job.scale},
                                   none);
}

/// The first half of a strip by the way that fits it.
template <Form kForm>
LML_INLINE void StripFirst(const WideStripArgs& p, const StripLayout& at, RowReader& reader)
{
    if (at.a > 1 && p.bytes <= kWideNear && p.pre == nullptr && reader.place.all && reader.place.Whole())
        DirectFirst<kForm>(p, at, reader);
    else
        TileFirst(*p.length, at, reader);
}

template <bool kInverse>
LML_INLINE void AllStrips(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    constexpr Form kForm = kInverse ? Form::Exchanged : Form::Samples;
    const WideLength& length = *p.length;
    const StripLayout at(length, scratch);
    RowReader reader(p, kInverse);
    RowWriter writer(p, kInverse);
    for (std::size_t s = first; s < last; ++s)
    {
        const WideStripAt strip = WideStripOf(p.job.which, p.job.columns, s);
        reader.place.SetStrip(strip);
        writer.place.SetStrip(strip);
        if (at.a == 1 && p.bytes <= kWideNear && p.twist == nullptr && reader.place.Whole() && reader.place.all &&
            writer.place.all)
        {
            DirectWhole<kForm>(p, at, strip.column);
            continue;
        }
        StripFirst<kForm>(p, at, reader);
        NoSide none;
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
        {
            const float* in = at.buffer + std::ptrdiff_t(k1) * at.line;
            Lane<Form::Split, Form::Split, Post::None>(length.lengthB->lg,
                                                       {in, in + W, kPair, at.group, at.tile, at.tile + W, kPair,
                                                        at.tileB, at.inner, length.lengthB->inner, nullptr, 0, 0,
                                                        kGroups, 1.0f},
                                                       none);
            writer.Write(at.tile, at.tileB, k1, at.a, at.b);
        }
    }
}

static void Strips(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    if (p.job.sign >= 0)
        AllStrips<true>(p, first, last, scratch);
    else
        AllStrips<false>(p, first, last, scratch);
    if (p.stream)
        _mm_sfence();
}

// ---------------------------------------------------------------------------------------------------- fused strips

/// Forward, factor, inverse for one k1 of a strip: buffer[g][k1][.] in place, exchanged on return. factor: [k2][g]
/// pairs with a step per k2 that may be negative, or per-row scalars.
template <Post kPost>
LML_INLINE void FusedLine(const WideLength& length, const StripLayout& at, float* mid, std::size_t k1,
                          const float* factor, std::ptrdiff_t factorStep, const WideRange& zeroRows)
{
    const WideLength& rows = *length.lengthB;
    NoSide none;
    for (int g = 0; g < kGroups; ++g)
    {
        float* line = at.buffer + g * at.group + std::ptrdiff_t(k1) * at.line;
        const float* f = kPost == Post::Vector ? factor + g * kPair : factor;
        Lane<Form::Split, Form::Split, kPost>(
            rows.lg,
            {line, line + W, kPair, 0, mid, mid + W, kPair, 0, at.inner, rows.inner, f, factorStep, 0, 1, 1.0f}, none);
        if (zeroRows.begin != zeroRows.end)
            for (std::size_t k2 = 0; k2 < at.b; ++k2)
                if (zeroRows.Has(k1 + at.a * k2))
                    StorePair(mid + std::ptrdiff_t(k2) * kPair, {VF::Zero(), VF::Zero()});
        Lane<Form::Split, Form::Split, Post::Scalar>(rows.lg,
                                                     {mid + W, mid, kPair, 0, line, line + W, kPair, 0, at.inner,
                                                      rows.inner, length.twiddleT + 2 * k1 * at.b, 2, 0, 1, 1.0f},
                                                     none);
    }
}

/// Inverse transforms over k1 and the way out.
LML_INLINE void FusedLast(const WideLength& length, const StripLayout& at, RowWriter& writer)
{
    NoSide none;
    for (std::size_t b = 0; b < at.b; ++b)
    {
        const float* in = at.buffer + std::ptrdiff_t(b) * kPair;
        Lane<Form::Split, Form::Split, Post::None>(length.lengthA->lg,
                                                   {in, in + W, at.line, at.group, at.tile, at.tile + W, kPair,
                                                    at.tileA, at.inner, length.lengthA->inner, nullptr, 0, 0, kGroups,
                                                    1.0f},
                                                   none);
        writer.Write(at.tile, at.tileA, b, at.b, at.a);
    }
}

/// Factors of a spectrum row, 64 of each part in sample order, to vectors in lane order. The mirror of the strip
/// (columns - column - 64 ..) meets values 64, 63, .. 1.
template <bool kMirrored>
LML_INLINE void PlaceFactors(const float* re, const float* im, float* to)
{
#pragma GCC unroll 16
    for (int g = 0; g < kGroups; ++g)
    {
        const std::ptrdiff_t from = kMirrored ? std::ptrdiff_t(kWideStrip) - g * W - (W - 1) : g * W;
        const VF r = VF::LoadU(re + from), i = VF::LoadU(im + from);
        (kMirrored ? LaneOrderMirrored(r) : LaneOrder(r)).Store(to + g * kPair);
        (kMirrored ? LaneOrderMirrored(i) : LaneOrder(i)).Store(to + g * kPair + W);
    }
}

/// The pass over single strips, or over pairs of a strip of the left half and its mirror, which holds the columns'
/// negatives but for the first one's. Rows k and n - k share factors too: k1 + a k2 is mirrored by
/// (a - k1) + a (b - 1 - k2).
struct FusedStrips
{
    const WideStripArgs& p;
    const WideLength& length;
    const StripLayout at;
    RowReader reader;
    RowWriter writer;
    float *values, *mid, *factors, *turned, *kept;
    static constexpr std::size_t kRoom = kWideStrip + 16;
    static constexpr std::ptrdiff_t kFactorStep = 2 * std::ptrdiff_t(kWideStrip);

    LML_MEMBER FusedStrips(const WideStripArgs& args, float* scratch)
        : p(args), length(*args.length), at(length, scratch), reader(args, false), writer(args, true), values(at.rest),
          mid(values + 2 * kRoom), factors(mid + at.line), turned(factors + std::ptrdiff_t(at.b) * kFactorStep),
          kept(turned + (args.fused != nullptr && args.fused->row != nullptr ? std::ptrdiff_t(at.b) * kFactorStep : 0))
    {
        for (float* f = values; f < kept; f += W) // lanes beyond a narrow strip and rows that are zero are never filled
            VF::Zero().Store(f);
    }

    LML_MEMBER void Begin(WideStripAt strip)
    {
        reader.place.SetStrip(strip);
        writer.place.SetStrip(strip);
        StripFirst<Form::Samples>(p, at, reader);
    }

    /// One k1 of a strip with the factors prepared, or with those of the mirrored k1 in reverse.
    LML_MEMBER void Line(std::size_t column, std::size_t k1, bool reverse)
    {
        const WideFused& fused = *p.fused;
        const std::ptrdiff_t last = reverse ? std::ptrdiff_t(at.b) - 1 : 0, step = reverse ? -kFactorStep : kFactorStep;
        const float* from = factors + last * kFactorStep;
        if (fused.row == nullptr)
            return FusedLine<Post::Vector>(length, at, mid, k1, from, step, fused.zeroRows);
        const float* const columns = reinterpret_cast<const float*>(fused.column + column);
        const float* const rows = reinterpret_cast<const float*>(fused.row);
        float* to = turned;
        for (std::size_t k2 = 0; k2 < at.b; ++k2, from += step, to += kFactorStep)
        {
            const std::size_t k = k1 + at.a * k2;
            const VF re(rows[2 * k]), im(rows[2 * k + 1]);
#pragma GCC unroll 16
            for (int g = 0; g < kGroups; ++g)
            {
                const C turn = Times(LoadSamples(columns + g * kPair), re, im);
                StorePair(to + g * kPair, Times(LoadPair(from + g * kPair), turn.r, turn.i));
            }
        }
        FusedLine<Post::Vector>(length, at, mid, k1, turned, kFactorStep, fused.zeroRows);
    }

    LML_MEMBER void SameForAllColumns(WideStripAt strip)
    {
        Begin(strip);
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
            FusedLine<Post::Scalar>(length, at, mid, k1, p.rowFactor + 2 * k1, std::ptrdiff_t(2 * at.a), WideRange());
        FusedLast(length, at, writer);
    }

    LML_MEMBER void Single(WideStripAt strip)
    {
        const WideFused& fused = *p.fused;
        const std::size_t columns = p.job.columns;
        const std::size_t span = columns - strip.column < kWideStrip ? columns - strip.column : kWideStrip;
        Begin(strip);
        for (std::size_t k1 = 0; k1 < at.a; ++k1)
        {
            for (std::size_t k2 = 0; k2 < at.b; ++k2)
            {
                const std::size_t k = k1 + at.a * k2;
                if (fused.zeroRows.Has(k))
                    continue;
                fused.factor(fused.context, k, strip.column, span, values, values + kRoom);
                PlaceFactors<false>(values, values + kRoom, factors + std::ptrdiff_t(k2) * kFactorStep);
            }
            Line(strip.column, k1, false);
        }
        FusedLast(length, at, writer);
    }

    enum class Source
    {
        Function,     ///< factors are asked for
        FunctionKept, ///< and kept for the mirror
        Kept
    };
    template <bool kMirrored>
    LML_MEMBER void Half(WideStripAt strip, std::size_t column, Source source)
    {
        const WideFused& fused = *p.fused;
        Begin(strip);
        for (std::size_t k1 = 0; k1 <= at.a / 2; ++k1)
        {
            const std::size_t other = k1 == 0 || at.a - k1 == k1 ? at.a : at.a - k1;
            for (std::size_t k2 = 0; k2 < at.b; ++k2)
            {
                const std::size_t k = k1 + at.a * k2, back = length.n - k;
                if (fused.zeroRows.Has(k) && (other == at.a || fused.zeroRows.Has(back)))
                    continue;
                const std::size_t row = k < back ? k : back;
                float* const line = kept + row * kWideKeptRow;
                float* const to = factors + std::ptrdiff_t(k2) * kFactorStep;
                if (source == Source::Kept)
                {
                    PlaceFactors<kMirrored>(line, line + kWideKeptRow / 2, to);
                    continue;
                }
                fused.factor(fused.context, row, column, kWideStrip + 1, values, values + kRoom);
                PlaceFactors<kMirrored>(values, values + kRoom, to);
                if (source == Source::FunctionKept)
                {
                    for (std::size_t part = 0; part < 2; ++part)
                    {
                        const float* from = values + part * kRoom;
                        float* keep = line + part * (kWideKeptRow / 2);
#pragma GCC unroll 16
                        for (int v = 0; v < kGroups; ++v)
                            VF::Load(from + v * W).StoreU(keep + v * W);
                        keep[kWideStrip] = from[kWideStrip];
                    }
                }
            }
            Line(strip.column, k1, false);
            if (other != at.a)
                Line(strip.column, other, true);
        }
        FusedLast(length, at, writer);
    }

    LML_MEMBER void Pair(std::size_t s)
    {
        WideStripAt strip[2];
        bool wanted[2];
        for (int m = 0; m < 2; ++m)
        {
            strip[m].column = m == 0 ? s * kWideStrip : p.job.columns - (s + 1) * kWideStrip;
            // The part of the cyclic range within the strip: one run or none (see WideFusedPass).
            std::size_t lo = kWideStrip, hi = 0;
            for (std::size_t c = 0; c < kWideStrip; ++c)
                if (p.job.which.Has(strip[m].column + c))
                {
                    lo = c < lo ? c : lo;
                    hi = c + 1;
                }
            strip[m].lo = lo;
            strip[m].hi = hi;
            wanted[m] = hi > 0;
        }
        if (wanted[0])
            Half<false>(strip[0], strip[0].column, wanted[1] ? Source::FunctionKept : Source::Function);
        if (wanted[1])
            Half<true>(strip[1], strip[0].column, wanted[0] ? Source::Kept : Source::Function);
    }
};

static void Fused(const WideStripArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    FusedStrips strips(p, scratch);
    for (std::size_t s = first; s < last; ++s)
        if (p.rowFactor == nullptr && p.pairs)
            strips.Pair(s);
        else if (p.rowFactor == nullptr)
            strips.Single(WideStripOf(p.job.which, p.job.columns, s));
        else
            strips.SameForAllColumns(WideStripOf(p.job.which, p.job.columns, s));
    if (p.stream)
        _mm_sfence();
}

// ------------------------------------------------------------------------------------------------------ long rows, 256
// up
//
// Lanes are neighbouring samples. n = 16 m 16: the first radix is 16, then come radices that leave 16 neighbouring
// samples of each place; those are transposed in registers, so that the last radix works on lanes that are neighbouring
// outputs.
//
// With 16 lanes the transposition is taken apart, so that its shuffles run beside additions: the first radix transposes
// 4 x 4 floats within 128 bits (four of its outputs against four samples), the last one 4 x 4 quarters. In between a
// vector holds, in lane 4 l + i, output i of a four at one of the samples in lanes 4 l .. 4 l + 3, one vector for each
// of these.

/// Outputs of the first radix that share the vectors of a line, and floats per sample of a line.
static constexpr std::ptrdiff_t kLineOutputs = W == 16 ? 4 : 1;
static constexpr std::ptrdiff_t kSpan = 2 * kLineOutputs;

/// From one line to the next in the buffer; 128 bytes more than the samples, so that lines fall in different cache
/// sets.
LML_INLINE std::ptrdiff_t LineStep(std::size_t samples)
{
    return kSpan * std::ptrdiff_t(samples) + 32;
}

#if LML_WIDE_LEVEL == 2
/// 4 x 4 within 128 bits: vector j gets the sample in lane 4 l + j of a, b, c, d in quarter l.
LML_INLINE void PutQuarters(float* to, VF a, VF b, VF c, VF d)
{
    const __m512d ab0 = _mm512_castps_pd(_mm512_unpacklo_ps(a.v, b.v));
    const __m512d ab1 = _mm512_castps_pd(_mm512_unpackhi_ps(a.v, b.v));
    const __m512d cd0 = _mm512_castps_pd(_mm512_unpacklo_ps(c.v, d.v));
    const __m512d cd1 = _mm512_castps_pd(_mm512_unpackhi_ps(c.v, d.v));
    _mm512_store_ps(to, _mm512_castpd_ps(_mm512_unpacklo_pd(ab0, cd0)));
    _mm512_store_ps(to + kPair, _mm512_castpd_ps(_mm512_unpackhi_pd(ab0, cd0)));
    _mm512_store_ps(to + 2 * kPair, _mm512_castpd_ps(_mm512_unpacklo_pd(ab1, cd1)));
    _mm512_store_ps(to + 3 * kPair, _mm512_castpd_ps(_mm512_unpackhi_pd(ab1, cd1)));
}

/// The first radix, root factors, and out. The fours are outputs 2 h, 2 h + 1, 2 h + 8, 2 h + 9, so that quarters side
/// by side are outputs in the lane order of StoreSamples.
LML_INLINE void PutFirst(C* x, const float* roots, float* to, std::ptrdiff_t line)
{
    Radix16First(x);
#pragma GCC unroll 2
    for (int g = 0; g < 4; g += 2) // outputs g, g + 1, and these plus 4, 8, 12
    {
#pragma GCC unroll 2
        for (int k = g; k < g + 2; ++k)
        {
            Radix16Last(k, x + 4 * k);
#pragma GCC unroll 4
            for (int q = k == 0 ? 1 : 0; q < 4; ++q)
                x[4 * k + q] = Times(x[4 * k + q], VF::Load(roots + (k + 4 * q) * kPair),
                                     VF::Load(roots + (k + 4 * q) * kPair + W));
        }
        const C* y = x + 4 * g;
#pragma GCC unroll 2
        for (int h = 0; h < 2; ++h)
        {
            float* out = to + (g / 2 + 2 * h) * line;
            PutQuarters(out, y[h].r, y[4 + h].r, y[2 + h].r, y[6 + h].r);
            PutQuarters(out + W, y[h].i, y[4 + h].i, y[2 + h].i, y[6 + h].i);
        }
    }
}

/// 16 places of 16 samples, transposed, into the first half of the last radix.
LML_INLINE void GetLast(const float* t, std::ptrdiff_t line, C* x)
{
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i)
    {
        const int j = i / 2 + i % 2 * 2; // in this order every two vectors complete two butterflies
#pragma GCC unroll 2
        for (int part = 0; part < 2; ++part)
        {
            const float* from = t + j * kPair + part * W;
            const __m512 a = _mm512_load_ps(from), b = _mm512_load_ps(from + line);
            const __m512 c = _mm512_load_ps(from + 2 * line), d = _mm512_load_ps(from + 3 * line);
            const __m512 ab0 = _mm512_shuffle_f32x4(a, b, 0x88), ab1 = _mm512_shuffle_f32x4(a, b, 0xdd);
            const __m512 cd0 = _mm512_shuffle_f32x4(c, d, 0x88), cd1 = _mm512_shuffle_f32x4(c, d, 0xdd);
            const VF u[4] = {VF(_mm512_shuffle_f32x4(ab0, cd0, 0x88)), VF(_mm512_shuffle_f32x4(ab1, cd1, 0x88)),
                             VF(_mm512_shuffle_f32x4(ab0, cd0, 0xdd)), VF(_mm512_shuffle_f32x4(ab1, cd1, 0xdd))};
#pragma GCC unroll 4
            for (int l = 0; l < 4; ++l)
                (part == 0 ? x[WideLaneSample(4 * l + j, W)].r : x[WideLaneSample(4 * l + j, W)].i) = u[l];
        }
    }
    Radix16First(x);
}
#else
LML_INLINE void PutFirst(C* y, const float* roots, float* to, std::ptrdiff_t line)
{
    Radix16(y);
    StorePair(to, y[0]);
#pragma GCC unroll 16
    for (int k = 1; k < 16; ++k)
        StorePair(to + k * line, Times(y[k], VF::Load(roots + k * kPair), VF::Load(roots + k * kPair + W)));
}

LML_INLINE void GetLast(const float* t, std::ptrdiff_t line, C* x)
{
#pragma GCC unroll 4
    for (int h = 0; h < 16 / W; ++h)
#pragma GCC unroll 2
        for (int part = 0; part < 2; ++part)
        {
            VF r[W];
#pragma GCC unroll 16
            for (int i = 0; i < W; ++i)
                r[i] = VF::Load(t + WideLaneSample(i, W) * line + h * kPair + part * W);
            Transpose(r);
#pragma GCC unroll 16
            for (int i = 0; i < W; ++i)
                (part == 0 ? x[h * W + WideLaneSample(i, W)].r : x[h * W + WideLaneSample(i, W)].i) = r[i];
        }
    Radix16First(x);
}
#endif

/// Memory that is needed soon, up to two runs of it, fetched into the second cache bit by bit while the arithmetic goes
/// on: fetched all at once it would keep other loads waiting.
struct Fetch
{
    const char* next = nullptr;
    const char* end = nullptr;
    const char* second = nullptr;
    const char* secondEnd = nullptr;

    /// The samples of `range` of a row that holds the axis, n long, from `origin` on.
    LML_MEMBER void Set(const float* row, std::size_t origin, WideRange range, std::size_t n)
    {
        const bool one = range.begin <= range.end;
        next = reinterpret_cast<const char*>(row + 2 * (std::ptrdiff_t(range.begin) - std::ptrdiff_t(origin)));
        end = next + 8 * ((one ? range.end : n) - range.begin);
        second = reinterpret_cast<const char*>(row);
        secondEnd = second + (one ? 0 : 8 * range.end);
    }
    template <int kLines>
    LML_MEMBER void Some()
    {
        if (next >= end)
        {
            next = second;
            end = secondEnd;
            second = secondEnd;
            if (next >= end)
                return;
        }
#pragma GCC unroll 16
        for (int i = 0; i < kLines; ++i)
            _mm_prefetch(next + 64 * i, _MM_HINT_T1);
        next += 64 * kLines;
    }
};

/// The part of a row of n samples that is read or written: the axis indices of `range`, from memory that holds the axis
/// from `origin` on.
struct RowPart
{
    WideRange range;
    std::size_t n = 0, origin = 0;
    LML_MEMBER bool All() const { return range.IsAll(n) && origin == 0; }
    /// Whether the range has all, or none, of the W samples from `axis` on. Runs of W do not wrap.
    LML_MEMBER bool HasAll(std::size_t axis) const
    {
        const bool from = axis >= range.begin, to = axis + W <= range.end;
        return range.begin <= range.end ? from && to : from || to;
    }
    LML_MEMBER bool HasNone(std::size_t axis) const
    {
        const bool before = axis + W <= range.begin, behind = axis >= range.end;
        return range.begin <= range.end ? before || behind : before && behind;
    }
    LML_MEMBER std::ptrdiff_t Place(std::size_t axis) const
    {
        return 2 * (std::ptrdiff_t(axis) - std::ptrdiff_t(origin));
    }
};

/// W samples from an end of the part.
LML_NOINLINE void CopyEnd(const float* row, const RowPart& part, std::size_t axis, float* piece)
{
    for (std::size_t l = 0; l < W; ++l)
    {
        const bool has = part.range.Has(axis + l);
        piece[2 * l] = has ? row[part.Place(axis + l)] : 0.0f;
        piece[2 * l + 1] = has ? row[part.Place(axis + l) + 1] : 0.0f;
    }
}
LML_NOINLINE void WriteEnd(float* row, const RowPart& part, std::size_t axis, const float* piece)
{
    for (std::size_t l = 0; l < W; ++l)
    {
        if (!part.range.Has(axis + l))
            continue;
        float* const to = row + part.Place(axis + l);
        to[0] = piece[2 * l];
        to[1] = piece[2 * l + 1];
    }
}

/// W samples at the axis index of a partial row, zeros outside the part.
LML_INLINE C LoadPart(const float* row, const RowPart& part, std::size_t axis)
{
    if (part.HasAll(axis))
        return LoadSamples(row + part.Place(axis));
    if (part.HasNone(axis))
        return {VF::Zero(), VF::Zero()};
    alignas(64) float piece[2 * W];
    CopyEnd(row, part, axis, piece);
    return LoadSamples(piece);
}

/// The same the other way; what lies outside is left alone.
LML_INLINE void StorePart(float* row, const RowPart& part, std::size_t axis, C v, bool stream)
{
    if (part.HasAll(axis))
    {
        if (stream)
            StreamSamples(row + part.Place(axis), v);
        else
            StoreSamples(row + part.Place(axis), v);
        return;
    }
    if (part.HasNone(axis))
        return;
    alignas(64) float piece[2 * W];
    StoreSamples(piece, v);
    WriteEnd(row, part, axis, piece);
}

/// First radix: x[a m + b], m = n / 16, to the lines of the buffer with the root factors.
template <bool kInverse, bool kAll>
LML_INLINE void RowFirst(const float* x, const RowPart& part, Fetch& fetch, float* buffer, const float* roots,
                         std::size_t m, bool shift)
{
    const std::ptrdiff_t step = std::ptrdiff_t(2 * m), line = LineStep(m);
    const float* low = x + (shift ? 8 * step : 0);  // inputs 0..7 of the transform
    const float* high = x + (shift ? 0 : 8 * step); // and 8..15
    const std::size_t flip = shift ? 8 * m : 0;
    for (std::size_t b = 0; b < m; b += W, roots += 16 * kPair)
    {
        fetch.Some<W / 2>();
        C y[16];
        const std::ptrdiff_t at = std::ptrdiff_t(2 * b);
        if constexpr (kAll)
        {
#pragma GCC unroll 8
            for (int a = 0; a < 8; ++a)
            {
                y[a] = Exchanged<kInverse>(LoadSamples(low + a * step + at));
                y[a + 8] = Exchanged<kInverse>(LoadSamples(high + a * step + at));
            }
        }
        else
#pragma GCC unroll 16
            for (std::size_t a = 0; a < 16; ++a)
                y[a] = Exchanged<kInverse>(LoadPart(x, part, (a * m + b) ^ flip));
        PutFirst(y, roots, buffer + kSpan * std::ptrdiff_t(b), line);
    }
}

/// A radix in between, in place on R * `step` samples of a line: roots [vector][k] pairs.
template <int R>
LML_INLINE void RowMiddle(float* t, std::ptrdiff_t step, const float* roots, Fetch& fetch)
{
    const std::ptrdiff_t apart = kSpan * step;
    for (std::ptrdiff_t v = 0; v < apart; v += kPair, t += kPair, roots += R * kPair)
    {
        fetch.Some<W * R / 16>();
        C x[R];
#pragma GCC unroll 16
        for (int p = 0; p < R; ++p)
            x[p] = LoadPair(t + p * apart);
        Radix<R>(x);
        StorePair(t, x[0]);
#pragma GCC unroll 16
        for (int k = 1; k < R; ++k)
            StorePair(t + k * apart, Times(x[k], VF::Load(roots + k * kPair), VF::Load(roots + k * kPair + W)));
    }
}

/// All radices in between, on one line of `length` samples.
LML_INLINE void RowRest(float* t, const WideLength& length, Fetch& fetch)
{
    const float* roots = length.lineRoots;
    switch (length.lg)
    {
    case 4:
        return;
    case 5:
        return RowMiddle<2>(t, 16, roots, fetch);
    case 6:
        return RowMiddle<4>(t, 16, roots, fetch);
    case 7:
        return RowMiddle<8>(t, 16, roots, fetch);
    case 8:
        return RowMiddle<16>(t, 16, roots, fetch);
    case 9:
        RowMiddle<4>(t, 128, roots, fetch);
        break;
    case 10:
        RowMiddle<8>(t, 128, roots, fetch);
        break;
    case 11:
        RowMiddle<16>(t, 128, roots, fetch);
        break;
    default:
        RowMiddle<16>(t, 256, roots, fetch);
        for (std::ptrdiff_t k = 0; k < 16; ++k)
            RowMiddle<16>(t + k * 256 * kSpan, 16, length.lineNext->lineRoots, fetch);
        return;
    }
    for (std::size_t k = 0; k < length.n / 128; ++k)
        RowMiddle<8>(t + std::ptrdiff_t(k) * 128 * kSpan, 16, length.lineNext->lineRoots, fetch);
}

/// One row: where it is read and written, and what is fetched meanwhile.
struct RowJob
{
    const float* x;
    RowPart in;
    bool shiftIn;
    float* y; ///< may be x
    RowPart out;
    bool shiftOut;
    bool stream; ///< stores past the caches
    float scale;
    Fetch fetch;
    /// A whole row.
    LML_MEMBER RowJob(std::size_t n, const float* from, bool exchangeIn, float* to, bool exchangeOut, float factor)
        : x(from), in{{0, n}, n, 0}, shiftIn(exchangeIn), y(to), out(in), shiftOut(exchangeOut), stream(false),
          scale(factor)
    {
    }
};

/// Outputs axis + d n / 16 of a row.
template <bool kInverse, bool kAll>
LML_INLINE void RowLast(const float* t, std::ptrdiff_t line, const RowJob& job, std::size_t axis, std::size_t m)
{
    C x[16];
    GetLast(t, line, x);
    const std::ptrdiff_t step = std::ptrdiff_t(2 * m);
    const VF scale(job.scale);
    const bool shift = job.shiftOut;
    float* low = job.y + 2 * axis + (shift ? 8 * step : 0);
    float* high = job.y + 2 * axis + (shift ? 0 : 8 * step);
    const std::size_t flip = shift ? 8 * m : 0;
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k)
    {
        Radix16Last(k, x + 4 * k);
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q)
        {
            const C v = Exchanged<kInverse>(Scaled(x[4 * k + q], scale));
            if constexpr (kAll)
                StoreSamples((q < 2 ? low : high) + (k + 4 * q % 8) * step, v);
            else
                StorePart(job.y, job.out, (axis + std::size_t(k + 4 * q) * m) ^ flip, v, job.stream);
        }
    }
}

/// All but the last radix, and the last radix.
template <bool kInverse, bool kAll>
LML_NOINLINE void RowBegin(const WideLength& length, RowJob& job, float* buffer)
{
    const WideLength& rest = *length.rowNext;
    const std::ptrdiff_t line = LineStep(rest.n);
    Fetch fetch = job.fetch;
    RowFirst<kInverse, kAll>(job.x, job.in, fetch, buffer, length.rowRoots, rest.n, job.shiftIn);
    if (rest.n > 16)
        for (int k = 0; k < 16 / kLineOutputs; ++k)
            RowRest(buffer + k * line, rest, fetch);
    job.fetch = fetch;
}

template <bool kInverse, bool kAll>
LML_NOINLINE void RowEnd(const WideLength& length, const RowJob& job, const float* buffer)
{
    const std::size_t m = length.n / 16;
    const std::ptrdiff_t line = LineStep(m);
    Fetch fetch = job.fetch;
    // Outputs k + 16 j of the radices so far, W at once; j counts runs of 16 samples. Where two radices stood in
    // between, the runs lie in the reversed order of their digits: j = k2 + R k3 at (m / 16 R) k2 + k3, R the first of
    // the two.
    const std::size_t ways = m <= 256 ? 1 : std::size_t(WideLineRadix(length.lg - 4));
    for (std::size_t j = 0; j < m / 16; ++j)
    {
        const float* run = buffer + 16 * kSpan * std::ptrdiff_t(ways == 1 ? j : j % ways * (m / 16 / ways) + j / ways);
        for (int k = 0; k < 16; k += W)
        {
            fetch.Some<W / 2>();
            RowLast<kInverse, kAll>(run + k / kLineOutputs * line, line, job, std::size_t(k) + 16 * j, m);
        }
    }
}

LML_INLINE void LongRow(bool inverse, const WideLength& length, RowJob& job, float* buffer)
{
    const bool readAll = job.in.All(), writeAll = job.out.All() && !job.stream;
    if (inverse)
    {
        readAll ? RowBegin<true, true>(length, job, buffer) : RowBegin<true, false>(length, job, buffer);
        writeAll ? RowEnd<true, true>(length, job, buffer) : RowEnd<true, false>(length, job, buffer);
    }
    else
    {
        readAll ? RowBegin<false, true>(length, job, buffer) : RowBegin<false, false>(length, job, buffer);
        writeAll ? RowEnd<false, true>(length, job, buffer) : RowEnd<false, false>(length, job, buffer);
    }
}

// ----------------------------------------------------------------------------------------------------- short rows, to
// 128

/// Up to W rows at once, one per lane: x[r * xStride + j] to y. Scratch: 2 n + 128 pairs.
LML_NOINLINE void ShortRows(const WideLength& length, const float* x, std::ptrdiff_t xStride, float* y,
                            std::ptrdiff_t yStride, std::size_t rows, bool inverse, bool shiftIn, bool shiftOut,
                            float scale, float* scratch)
{
    const std::size_t n = length.n;
    const std::size_t flipIn = shiftIn ? n / 2 : 0, flipOut = shiftOut ? n / 2 : 0;
    float* in = scratch;
    float* out = in + std::ptrdiff_t(n) * kPair;
    float* tile = out + std::ptrdiff_t(n) * kPair;
    const std::size_t re = inverse ? W : 0, im = inverse ? 0 : W;
    const bool blocks = n >= 2 * W; // so that a half shift moves whole blocks
    if (blocks)
        for (std::size_t j = 0; j < n; j += W)
        {
            VF r[W], i[W];
#pragma GCC unroll 16
            for (int l = 0; l < W; ++l)
            {
                const C v =
                    std::size_t(l) < rows ? LoadSamples(x + l * xStride + 2 * (j ^ flipIn)) : C{VF::Zero(), VF::Zero()};
                r[l] = v.r;
                i[l] = v.i;
            }
            Transpose(r);
            Transpose(i);
#pragma GCC unroll 16
            for (int l = 0; l < W; ++l)
            {
                float* to = in + (std::ptrdiff_t(j) + WideLaneSample(l, W)) * kPair;
                r[l].Store(to + re);
                i[l].Store(to + im);
            }
        }
    else
        for (std::size_t j = 0; j < n; ++j)
        {
            float* to = in + std::ptrdiff_t(j) * kPair;
            StorePair(to, {VF::Zero(), VF::Zero()});
            const float* from = x + 2 * (j ^ flipIn);
            for (std::size_t r = 0; r < rows; ++r, from += xStride)
            {
                to[re + r] = from[0];
                to[im + r] = from[1];
            }
        }
    NoSide none;
    Lane<Form::Split, Form::Split, Post::None>(
        length.lg, {in, in + W, kPair, 0, out, out + W, kPair, 0, tile, length.inner, nullptr, 0, 0, 1, 1.0f}, none);
    if (blocks)
        for (std::size_t k = 0; k < n; k += W)
        {
            VF r[W], i[W];
#pragma GCC unroll 16
            for (int l = 0; l < W; ++l)
            {
                const float* from = out + (std::ptrdiff_t(k) + WideLaneSample(l, W)) * kPair;
                r[l] = VF::Load(from + re) * VF(scale);
                i[l] = VF::Load(from + im) * VF(scale);
            }
            Transpose(r);
            Transpose(i);
            for (std::size_t l = 0; l < rows; ++l)
                StoreSamples(y + std::ptrdiff_t(l) * yStride + 2 * (k ^ flipOut), {r[l], i[l]});
        }
    else
        for (std::size_t k = 0; k < n; ++k)
        {
            const float* from = out + std::ptrdiff_t(k) * kPair;
            float* to = y + 2 * (k ^ flipOut);
            for (std::size_t r = 0; r < rows; ++r, to += yStride)
            {
                to[0] = from[re + r] * scale;
                to[1] = from[im + r] * scale;
            }
        }
}

// ------------------------------------------------------------------------------------------------------------ rows

/// The samples of `range` of a row that holds the axis from `origin` on; zeros elsewhere.
LML_INLINE void ReadRange(const float* row, std::size_t origin, WideRange range, std::size_t n, float* to)
{
    const auto copy = [&](std::size_t begin, std::size_t end) LML_LAMBDA
    {
        std::memcpy(to + 2 * begin, row + 2 * (begin - origin), (end - begin) * 8);
    };
    const auto zero = [&](std::size_t begin, std::size_t end) LML_LAMBDA
    {
        std::memset(to + 2 * begin, 0, (end - begin) * 8);
    };
    if (range.begin <= range.end)
    {
        zero(0, range.begin);
        if (range.begin < range.end)
            copy(range.begin, range.end);
        zero(range.end, n);
    }
    else
    {
        if (range.end > 0)
            copy(0, range.end);
        zero(range.end, range.begin);
        copy(range.begin, n);
    }
}

LML_INLINE void WriteRange(float* row, std::size_t origin, WideRange range, std::size_t n, const float* from)
{
    const auto copy = [&](std::size_t begin, std::size_t end) LML_LAMBDA
    {
        if (begin < end)
            std::memcpy(row + 2 * (begin - origin), from + 2 * begin, (end - begin) * 8);
    };
    const bool one = range.begin <= range.end;
    copy(one ? range.begin : 0, range.end);
    if (!one)
        copy(range.begin, n);
}

static void Rows(const WideRowArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    const WideRows& job = p.job;
    const WideLength& length = *p.length;
    const std::size_t n = job.n;
    const std::ptrdiff_t sourceStride = std::ptrdiff_t(2 * job.source.stride);
    const std::ptrdiff_t targetStride = std::ptrdiff_t(2 * job.target.stride);
    const float* source = reinterpret_cast<const float*>(job.source.samples);
    float* target = reinterpret_cast<float*>(job.target.samples);
    const bool inverse = job.sign >= 0;
    if (length.lg >= 8)
    {
        RowJob row(n, source + std::ptrdiff_t(first) * sourceStride, job.source.shift,
                   target + std::ptrdiff_t(first) * targetStride, job.target.shift, job.scale);
        row.in = {job.source.range, n, job.source.origin};
        row.out = {job.target.range, n, job.target.origin};
        row.stream = p.stream && job.target.origin % 8 == 0;
        for (std::size_t r = first; r < last; ++r, row.x += sourceStride, row.y += targetStride)
        {
            row.fetch = Fetch();
            if (r + 1 < last)
                row.fetch.Set(row.x + sourceStride, job.source.origin, job.source.range, n);
            LongRow(inverse, length, row, scratch);
        }
        if (row.stream)
            _mm_sfence();
        return;
    }
    const bool readAll = job.source.range.IsAll(n) && job.source.origin == 0;
    const bool writeAll = job.target.range.IsAll(n) && job.target.origin == 0;
    // Staged rows lie n samples apart.
    float* stage = scratch;
    float* work = scratch + 2 * n * W;
    for (std::size_t r = first; r < last; r += W)
    {
        const std::size_t count = last - r < W ? last - r : W;
        const float* x = source + std::ptrdiff_t(r) * sourceStride;
        float* y = target + std::ptrdiff_t(r) * targetStride;
        std::ptrdiff_t xStride = sourceStride, yStride = targetStride;
        if (!readAll)
        {
            for (std::size_t i = 0; i < count; ++i)
                ReadRange(x + std::ptrdiff_t(i) * sourceStride, job.source.origin, job.source.range, n,
                          stage + 2 * n * i);
            x = stage;
            xStride = std::ptrdiff_t(2 * n);
        }
        if (!writeAll)
        {
            y = stage;
            yStride = std::ptrdiff_t(2 * n);
        }
        ShortRows(length, x, xStride, y, yStride, count, inverse, job.source.shift, job.target.shift, job.scale, work);
        if (!writeAll)
            for (std::size_t i = 0; i < count; ++i)
                WriteRange(target + std::ptrdiff_t(r + i) * targetStride, job.target.origin, job.target.range, n,
                           stage + 2 * n * i);
    }
}

// ---------------------------------------------------------------------------------------------------- row convolution

/// to[j] = from[j] * factor[j] (or the sample itself without a factor), both times `scale` first.
LML_INLINE void MultiplyRow(float* to, const float* from, const float* factor, std::size_t n, float scale)
{
    const VF f(scale);
    std::size_t j = 0;
    for (; j + W <= n; j += W)
    {
        C v = Scaled(LoadSamples(from + 2 * j), f);
        if (factor != nullptr)
        {
            const C w = LoadSamples(factor + 2 * j);
            v = Times(v, w.r, w.i);
        }
        StoreSamples(to + 2 * j, v);
    }
    for (; j < n; ++j)
    {
        const float re = from[2 * j] * scale, im = from[2 * j + 1] * scale;
        if (factor != nullptr)
        {
            const float wr = factor[2 * j], wi = factor[2 * j + 1];
            to[2 * j] = re * wr - im * wi;
            to[2 * j + 1] = re * wi + im * wr;
        }
        else
        {
            to[2 * j] = re;
            to[2 * j + 1] = im;
        }
    }
}

/// One row alone, without prefetch.
static void Row(const WideLength& length, const float* x, float* y, bool inverse, bool shiftIn, bool shiftOut,
                float scale, float* scratch)
{
    if (length.lg >= 8)
    {
        RowJob row(length.n, x, shiftIn, y, shiftOut, scale);
        LongRow(inverse, length, row, scratch);
    }
    else
        ShortRows(length, x, 0, y, 0, 1, inverse, shiftIn, shiftOut, scale, scratch);
}

static void ConvolveRows(const WideConvolveArgs& p, std::size_t first, std::size_t last, float* scratch)
{
    const WideConvolution& job = p.job;
    const WideLength& length = *p.length;
    const std::size_t n = job.columns, twice = length.n;
    float* data = reinterpret_cast<float*>(job.data);
    const float* pre = reinterpret_cast<const float*>(job.pre);
    const float* spectrum = reinterpret_cast<const float*>(job.spectrum);
    const float* post = reinterpret_cast<const float*>(job.post);
    const std::size_t batch = length.lg < 8 ? W : 1;
    float* stage = scratch;
    float* work = scratch + 2 * twice * batch;
    for (std::size_t r = first; r < last; r += batch)
    {
        const std::size_t count = last - r < batch ? last - r : batch;
        for (std::size_t i = 0; i < count; ++i)
        {
            float* row = stage + 2 * twice * i;
            MultiplyRow(row, data + 2 * (r + i) * job.stride, pre, n, 1.0f);
            std::memset(row + 2 * n, 0, n * 8);
        }
        const std::ptrdiff_t stride = std::ptrdiff_t(2 * twice);
        for (int pass = 0; pass < 2; ++pass)
        {
            if (batch == 1)
            {
                RowJob row(twice, stage, false, stage, false, 1.0f);
                LongRow(pass != 0, length, row, work);
            }
            else
                ShortRows(length, stage, stride, stage, stride, count, pass != 0, false, false, 1.0f, work);
            if (pass == 0)
                for (std::size_t i = 0; i < count; ++i)
                    MultiplyRow(stage + 2 * twice * i, stage + 2 * twice * i, spectrum, twice, 1.0f);
        }
        for (std::size_t i = 0; i < count; ++i)
            MultiplyRow(data + 2 * (r + i) * job.stride, stage + 2 * twice * i, post, n, job.scale);
    }
}

// --------------------------------------------------------------------------------------------------- moving 64-bit
// items

/// 8 x 8 items from two places exchanged across the diagonal; both loads come first, so that the places may be the
/// same.
LML_INLINE void SwapBlocks(double* p, double* q, std::ptrdiff_t stride)
{
    constexpr int D = VD::lanes;
    // Sub-blocks of D x D: (i, j) of one against (j, i) of the other. On the diagonal block each pair is done once.
    for (int i = 0; i < 8 / D; ++i)
        for (int j = p == q ? i : 0; j < 8 / D; ++j)
        {
            VD a[D], b[D];
            double* pa = p + i * D * stride + j * D;
            double* qb = q + j * D * stride + i * D;
#pragma GCC unroll 8
            for (int r = 0; r < D; ++r)
            {
                a[r] = VD::LoadU(pa + r * stride);
                b[r] = VD::LoadU(qb + r * stride);
            }
            Transpose(a);
            Transpose(b);
#pragma GCC unroll 8
            for (int r = 0; r < D; ++r)
            {
                b[r].StoreU(pa + r * stride);
                a[r].StoreU(qb + r * stride);
            }
        }
}

/// (a0 a1 ..., b0 b1 ...) to (a0 a2 .. b0 b2 .., a1 a3 .. b1 b3 ..).
LML_INLINE void SplitPairs(VD& a, VD& b)
{
#if LML_WIDE_LEVEL == 2
    const __m512d even = _mm512_permutex2var_pd(a.v, _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14), b.v);
    b.v = _mm512_permutex2var_pd(a.v, _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15), b.v);
    a.v = even;
#elif LML_WIDE_LEVEL == 1
    const __m256d low = _mm256_permute2f128_pd(a.v, b.v, 0x20), high = _mm256_permute2f128_pd(a.v, b.v, 0x31);
    a.v = _mm256_unpacklo_pd(low, high);
    b.v = _mm256_unpackhi_pd(low, high);
#else
    const __m128d low = _mm_unpacklo_pd(a.v, b.v);
    b.v = _mm_unpackhi_pd(a.v, b.v);
    a.v = low;
#endif
}

static void TransposeSquare(float* square, std::size_t stride, std::size_t side, std::size_t first, std::size_t step)
{
    double* base = reinterpret_cast<double*>(square);
    const auto swap = [&](std::size_t i, std::size_t j) LML_LAMBDA
    {
        const std::ptrdiff_t s = std::ptrdiff_t(stride);
        SwapBlocks(base + std::ptrdiff_t(i) * s + j, base + std::ptrdiff_t(j) * s + i, s);
    };
    // Blocks that follow one another differ in rows and in columns: rows are a multiple of 4096 bytes apart, and a load
    // at the page offset of a store shortly before waits for it.
    for (std::size_t i = 32 * first; i < side; i += 32 * step)
    {
        for (std::size_t a = 0; a < 4; ++a)
            for (std::size_t b = a; b < 4; ++b)
                swap(i + 8 * a, i + 8 * b);
        for (std::size_t j = i + 32; j < side; j += 32)
            for (std::size_t d = 0; d < 4; ++d)
                for (std::size_t a = 0; a < 4; ++a)
                    swap(i + 8 * a, j + 8 * ((a + d) % 4));
    }
}

static void Deal(const float* source, float* target, std::size_t count, std::size_t ways)
{
    if (ways == 2 && count % W == 0)
    {
        // Evens and odds: the split of samples, for items twice as large.
        const double* from = reinterpret_cast<const double*>(source);
        double *even = reinterpret_cast<double*>(target), *odd = even + count;
        constexpr std::size_t D = VD::lanes;
        for (std::size_t b = 0; b < count; b += D, from += 2 * D)
        {
            VD a = VD::LoadU(from), c = VD::LoadU(from + D);
            SplitPairs(a, c);
            a.StoreU(even + b);
            c.StoreU(odd + b);
        }
        return;
    }
    for (std::size_t c = 0; c < ways; ++c)
        for (std::size_t b = 0; b < count; ++b)
            std::memcpy(target + 2 * (c * count + b), source + 2 * (b * ways + c), 8);
}

extern const WideKernels wideFftKernels;
const WideKernels wideFftKernels = {Isa(LML_WIDE_LEVEL), W,   Row, Rows, Strips, Fused, ConvolveRows,
                                    TransposeSquare,     Deal};
} // namespace LumoraLib::detail::LML_WIDE_NS
