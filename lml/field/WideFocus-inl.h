// Loops of the measures of focus, the wide room. See WideFocus.h.
namespace LumoraLib::detail::LML_WIDE_NS
{
namespace focus
{
static constexpr std::size_t kLanes = static_cast<std::size_t>(VD::lanes);

LML_INLINE void Take(const double* p, VD& v)
{
    v = VD::LoadU(p);
}
LML_INLINE void Take(const double* p, double& v)
{
    v = *p;
}
LML_INLINE void Put(double* p, VD v)
{
    v.StoreU(p);
}
LML_INLINE void Put(double* p, double v)
{
    *p = v;
}

struct Gradient
{
    template <class T>
    static LML_MEMBER T Of(T bl, T b, T br, T l, T, T r, T al, T a, T ar)
    {
        const T gx = (br - bl) + T(2.0) * (r - l) + (ar - al);
        const T gy = (al - bl) + T(2.0) * (a - b) + (ar - br);
        return gx * gx + gy * gy;
    }
};
struct Laplacian
{
    template <class T>
    static LML_MEMBER T Of(T, T b, T, T l, T m, T r, T, T a, T)
    {
        const T v = (l + r - T(2.0) * m) + (b + a - T(2.0) * m);
        return v * v;
    }
};
struct Edges
{
    template <class T>
    static LML_MEMBER T Of(T, T b, T, T l, T, T r, T, T a, T)
    {
        const T gx = (r - l) * T(0.5), gy = (a - b) * T(0.5);
        return gx * gx + gy * gy;
    }
};

template <class Kind, class T>
LML_INLINE void At(const double* below, const double* row, const double* above, std::size_t i, double* to)
{
    T v[9];
#pragma GCC unroll 3
    for (std::size_t k = 0; k < 3; ++k)
    {
        Take(below + i + k, v[k]);
        Take(row + i + k, v[3 + k]);
        Take(above + i + k, v[6 + k]);
    }
    Put(to + i, Kind::Of(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]));
}

template <class Kind>
static void Differences(const double* below, const double* row, const double* above, std::size_t n, double* to)
{
    std::size_t i = 0;
    for (; i + kLanes + 2 <= n; i += kLanes)
        At<Kind, VD>(below, row, above, i, to);
    for (; i + 2 < n; ++i)
        At<Kind, double>(below, row, above, i, to);
}

static void Intensities(const float* z, std::size_t n, double* to)
{
    std::size_t i = 0;
    for (; i + kLanes <= n; i += kLanes)
    {
        VD x, y;
        LoadComplex(z + 2 * i, x, y);
        (x * x + y * y).StoreU(to + i);
    }
    for (; i < n; ++i)
    {
        const double x = static_cast<double>(z[2 * i]), y = static_cast<double>(z[2 * i + 1]);
        to[i] = x * x + y * y;
    }
}

static void Roots(double* x, std::size_t n)
{
    std::size_t i = 0;
    for (; i + kLanes <= n; i += kLanes)
        Sqrt(VD::LoadU(x + i)).StoreU(x + i);
    if (i < n)
    {
        double part[kLanes] = {};
        std::memcpy(part, x + i, (n - i) * sizeof(double));
        Sqrt(VD::LoadU(part)).StoreU(part);
        std::memcpy(x + i, part, (n - i) * sizeof(double));
    }
}

template <bool kSquares>
static double Sum(const double* x, std::size_t n)
{
    constexpr std::size_t vectors = 8 / kLanes;
    VD sums[vectors];
    for (std::size_t v = 0; v < vectors; ++v)
        sums[v] = VD::Zero();
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8)
#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectors; ++v)
        {
            const VD a = VD::LoadU(x + i + v * kLanes);
            sums[v] = sums[v] + (kSquares ? a * a : a);
        }
    double p[8];
    for (std::size_t v = 0; v < vectors; ++v)
        sums[v].StoreU(p + v * kLanes);
    for (; i < n; ++i)
        p[0] += kSquares ? x[i] * x[i] : x[i];
    return ((p[0] + p[4]) + (p[2] + p[6])) + ((p[1] + p[5]) + (p[3] + p[7]));
}
} // namespace focus

extern const FocusTable focusTable;
const FocusTable focusTable = {focus::Intensities,
                               focus::Roots,
                               focus::Differences<focus::Gradient>,
                               focus::Differences<focus::Laplacian>,
                               focus::Differences<focus::Edges>,
                               focus::Sum<false>,
                               focus::Sum<true>};
} // namespace LumoraLib::detail::LML_WIDE_NS
