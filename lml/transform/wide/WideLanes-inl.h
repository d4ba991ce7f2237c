// Wide transforms: lane-parallel transforms of 1 to 128 elements, one per lane.

namespace LumoraLib::detail::LML_WIDE_NS
{
/// Where the elements of transforms lie: `step` floats apart, from one vector across a strip to the next `group`
/// floats. Split vectors give real and imaginary parts apart, so that an exchange is an exchange of pointers.
template <class Float>
struct LanePlace
{
    Float* re = nullptr;
    Float* im = nullptr;
    std::ptrdiff_t step = 0, group = 0;
};

/// The place of pairs from `first` on.
template <class Float>
LML_INLINE LanePlace<Float> PairsAt(Float* first, std::ptrdiff_t step, std::ptrdiff_t group = 0)
{
    return {first, first + W, step, group};
}

/// A factor per element, or none.
struct LaneFactor
{
    const float* at = nullptr;
    std::ptrdiff_t step = 0;
};

/// One transform per lane, for a number of vectors across a strip.
struct LaneArgs
{
    LanePlace<const float> in = {};
    LanePlace<float> out = {};
    float* tile = nullptr; ///< room for 128 pairs
    LaneFactor post = {};  ///< for the results
    int groups = kGroups;
    float scale = 1.0f; ///< for samples going out
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
LML_INLINE void LaneTransform(const WideLength& length, const LaneArgs& args, Side& side)
{
    // Fields are read once: vector stores may alias anything behind a reference.
    const LaneSteps a = {args.in.step, args.out.step, args.post.step, args.scale};
    const float *inRe = args.in.re, *inIm = args.in.im;
    float *outRe = args.out.re, *outIm = args.out.im;
    float* const tile = args.tile;
    const float* const inner = length.inner;
    const float* const post = args.post.at;
    const std::ptrdiff_t inGroup = args.in.group, outGroup = args.out.group;
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
    }
}

template <Form kIn, Form kOut, Post kPost, class Side>
LML_NOINLINE void Lane(const WideLength& length, const LaneArgs& a, Side& side)
{
    constexpr Post kSinglePost = kPost == Post::Scalar ? Post::None : kPost; // the one factor of index 0 is 1
    switch (length.lg)
    {
    case 0:
        return LaneTransform<1, kIn, kOut, kSinglePost>(length, a, side);
    case 1:
        return LaneTransform<2, kIn, kOut, kPost>(length, a, side);
    case 2:
        return LaneTransform<4, kIn, kOut, kPost>(length, a, side);
    case 3:
        return LaneTransform<8, kIn, kOut, kPost>(length, a, side);
    case 4:
        return LaneTransform<16, kIn, kOut, kPost>(length, a, side);
    case 5:
        return LaneTransform<32, kIn, kOut, kPost>(length, a, side);
    case 6:
        return LaneTransform<64, kIn, kOut, kPost>(length, a, side);
    default:
        return LaneTransform<128, kIn, kOut, kPost>(length, a, side);
    }
}

struct NoSide
{
    LML_MEMBER void Step() {}
    LML_MEMBER void Group() {}
};
} // namespace LumoraLib::detail::LML_WIDE_NS
