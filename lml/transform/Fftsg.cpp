// The library's own FFT engine: an in-place split-radix transform on float samples with double twiddle factors.
//
// How it works. Let W(M) = exp(2 pi i / M). Every stage works on a block of M points and on one of two tasks:
//
//     first kind   F(M):  x -> X[k] = sum of x[j] W(M)^(jk)
//     second kind  S(M):  x -> F(M) of x[j] W(2M)^j, which is what the odd outputs of a length-2M transform need
//
// One pass over the block splits a task into four tasks of a quarter of its length Q = M / 4. With z0..z3 the points
// j, j + Q, j + 2Q, j + 3Q, and the outputs written back to the same four places:
//
//     F(M):  j        (z0 + z2) + (z1 + z3)                              -> F(Q): outputs 0 mod 4
//            j + Q    (z0 + z2) - (z1 + z3)                              -> S(Q): outputs 2 mod 4
//            j + 2Q  ((z0 - z2) + i (z1 - z3)) W(M)^j                    -> F(Q): outputs 1 mod 4
//            j + 3Q  ((z0 - z2) - i (z1 - z3)) W(M)^3j                   -> F(Q): outputs 3 mod 4
//
// The quarter j + Q is where the split-radix transform saves its multiplications against radix 4: its factor W(M)^2j is
// not applied here but handed on, as the definition of S(Q). With V = W(2M), u = W(8) and V^Q = u, V^2Q = i, the same
// algebra on x[j] V^j gives
//
//     S(M):  j       ((z0 + i z2) + u (z1 + i z3)) V^j                   -> F(Q)
//            j + Q   ((z0 + i z2) - u (z1 + i z3)) V^j                   -> S(Q), which owes V^4j = W(2Q)^j
//            j + 2Q  ((z0 - i z2) + i u (z1 - i z3)) V^3j                -> F(Q)
//            j + 3Q  ((z0 - i z2) - i u (z1 - i z3)) V^3j                -> S(Q), which owes V^4j
//
// So the quarters of a block are F, S, F, and a last one of the block's own kind. Since even outputs come before odd
// ones at each level, the result stands in bit-reversed order, and a last sweep brings it into natural order.
//
// The transform with the minus sign is the conjugate of the plus transform of the conjugate samples: its first pass
// conjugates on load, its reordering conjugates on store, and everything between is shared.
//
// Precision: each stage loads floats, computes in double and rounds once on store; a 16-point kernel is one stage. That
// is one rounding per two or four levels, and keeps the error well inside 2^-24 sqrt(log2 N).

#include "Fftsg.h"
#include "transform/EngineTable.h"
#include "transform/FftsgAreas.h"

#include <cmath>
#include <cstddef>

namespace LumoraLib
{
namespace
{
// Lengths in floats. A block of at most kLeaf is finished at once: 2 KiB stay in the fastest cache. Passes of the
// recursion stop above kMid, where the unrolled kernels of a leaf take over.
constexpr int kLeaf = 512;
constexpr int kMid = 128;

using Index = std::ptrdiff_t;

// ---------------------------------------------------------------------------------------------- complex arithmetic

struct Point
{
    double re;
    double im;
};

inline Point operator+(Point a, Point b)
{
    return {a.re + b.re, a.im + b.im};
}
inline Point operator-(Point a, Point b)
{
    return {a.re - b.re, a.im - b.im};
}
inline Point operator*(Point a, Point b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
/// a + i b and a - i b.
inline Point PlusI(Point a, Point b)
{
    return {a.re - b.im, a.im + b.re};
}
inline Point MinusI(Point a, Point b)
{
    return {a.re + b.im, a.im - b.re};
}
/// a W(8), with r = cos(pi / 4).
inline Point EighthTurn(Point a, double r)
{
    return {r * (a.re - a.im), r * (a.re + a.im)};
}

inline Point Load(const float* a)
{
    return {a[0], a[1]};
}
inline void Store(float* a, Point z)
{
    a[0] = static_cast<float>(z.re);
    a[1] = static_cast<float>(z.im);
}

// ---------------------------------------------------------------------------------------------- butterflies

enum class Kind
{
    first,
    second
};

enum class Sign
{
    plus,
    minus
};

/// Four points a quarter apart.
struct Quad
{
    Point z0, z1, z2, z3;
};

/// The two factors of one butterfly: exp(i t) and exp(3 i t).
struct Factors
{
    Point one;
    Point three;
};

/// The factors of one group of the twiddle table: cos t, sin t, cos 3t, -sin 3t.
inline Factors Group(const double* w)
{
    return {{w[0], w[1]}, {w[2], -w[3]}};
}

/// The factors of t = pi / 4, with r = cos(pi / 4).
inline Factors Diagonal(double r)
{
    return {{r, r}, {-r, r}};
}

/// The factors of pi / 2 - t.
inline Factors Mirror(const Factors& f)
{
    return {{f.one.im, f.one.re}, {-f.three.im, -f.three.re}};
}

/// The sums of a pass, before the factors; r = cos(pi / 4).
template <Kind K>
inline Quad Butterfly(const Quad& z, [[maybe_unused]] double r)
{
    if constexpr (K == Kind::first)
    {
        const Point s0 = z.z0 + z.z2;
        const Point d0 = z.z0 - z.z2;
        const Point s1 = z.z1 + z.z3;
        const Point d1 = z.z1 - z.z3;
        return {s0 + s1, s0 - s1, PlusI(d0, d1), MinusI(d0, d1)};
    }
    else
    {
        const Point s0 = PlusI(z.z0, z.z2);
        const Point d0 = MinusI(z.z0, z.z2);
        const Point s1 = EighthTurn(PlusI(z.z1, z.z3), r);
        const Point d1 = EighthTurn(MinusI(z.z1, z.z3), r);
        return {s0 + s1, s0 - s1, PlusI(d0, d1), MinusI(d0, d1)};
    }
}

template <Kind K>
inline Quad Turn(const Quad& y, const Factors& f)
{
    if constexpr (K == Kind::first)
        return {y.z0, y.z1, y.z2 * f.one, y.z3 * f.three};
    else
        return {y.z0 * f.one, y.z1 * f.one, y.z2 * f.three, y.z3 * f.three};
}

/// Four points from memory, `quarter` floats apart; conjugated for the first pass of the minus transform.
template <Sign S = Sign::plus>
inline Quad LoadQuad(const float* a, Index quarter)
{
    Quad z = {Load(a), Load(a + quarter), Load(a + 2 * quarter), Load(a + 3 * quarter)};
    if constexpr (S == Sign::minus)
    {
        z.z0.im = -z.z0.im;
        z.z1.im = -z.z1.im;
        z.z2.im = -z.z2.im;
        z.z3.im = -z.z3.im;
    }
    return z;
}

inline void StoreQuad(float* a, Index quarter, const Quad& y)
{
    Store(a, y.z0);
    Store(a + quarter, y.z1);
    Store(a + 2 * quarter, y.z2);
    Store(a + 3 * quarter, y.z3);
}

/// One butterfly in memory.
template <Kind K, Sign S = Sign::plus>
inline void Step(float* a, Index quarter, const Factors& f, double r)
{
    StoreQuad(a, quarter, Turn<K>(Butterfly<K>(LoadQuad<S>(a, quarter), r), f));
}

// ---------------------------------------------------------------------------------------------- passes
// A pass splits a block of m floats into four quarters of m / 4. `at` counts floats from the start of a quarter, so
// point j stands at 2 j.

/// The first-kind butterflies of point j and of its mirror image Q - j, which have one pair of factors.
template <Sign S = Sign::plus>
inline void MirrorSteps(float* a, Index quarter, Index at, const Factors& f)
{
    Step<Kind::first, S>(a + at, quarter, f, 0.0);
    Step<Kind::first, S>(a + quarter - at, quarter, Mirror(f), 0.0);
}

/// The pass over a whole array of n > 32 floats. The largest slice holds the factors of even j only; those between are
/// means of their neighbours, since cos(x - h) + cos(x + h) = 2 cos(x) cos(h): w[2] = 0.5 / cos(h) for t and w[3] for
/// 3t.
template <Sign S>
void FirstPass(int n, float* a, const double* w)
{
    const Index quarter = n / 4;
    const Index middle = quarter / 2;
    StoreQuad(a, quarter, Butterfly<Kind::first>(LoadQuad<S>(a, quarter), 0.0));
    Factors before = {{1.0, 0.0}, {1.0, 0.0}};
    const Factors diagonal = Diagonal(w[1]);
    for (Index at = 4; at <= middle; at += 4)
    {
        const Factors here = at < middle ? Group(w + at) : diagonal;
        const Point one = before.one + here.one;
        const Point three = before.three + here.three;
        MirrorSteps<S>(a, quarter, at - 2, {{w[2] * one.re, w[2] * one.im}, {w[3] * three.re, w[3] * three.im}});
        if (at < middle)
            MirrorSteps<S>(a, quarter, at, here);
        before = here;
    }
    Step<Kind::first, S>(a + middle, quarter, diagonal, 0.0);
}

/// The pass of a kind over a block of m floats inside an array. The slice of each kind holds the factors of every j.
template <Kind K>
void MiddlePass(int m, float* a, int nw, const double* w)
{
    const Index quarter = m / 4;
    if constexpr (K == Kind::first)
    {
        const double* slice = w + (nw - m / 2);
        const Index middle = quarter / 2;
        StoreQuad(a, quarter, Butterfly<Kind::first>(LoadQuad(a, quarter), 0.0));
        for (Index at = 2; at < middle; at += 2)
            MirrorSteps(a, quarter, at, Group(slice + 2 * at));
        Step<Kind::first>(a + middle, quarter, Diagonal(slice[1]), 0.0);
    }
    else
    {
        const double* slice = w + (nw - m);
        const double r = slice[1];
        StoreQuad(a, quarter, Butterfly<Kind::second>(LoadQuad(a, quarter), r));
        for (Index at = 2; at < quarter; at += 2)
            Step<Kind::second>(a + at, quarter, Group(slice + 2 * at), r);
    }
}

// ---------------------------------------------------------------------------------------------- kernels
// A kernel finishes a block of 8 or 16 points in registers, results in bit-reversed order. Both kinds find cos(pi / 4),
// cos(pi / 8) and sin(pi / 8) in the slice w[nw - 8]; the 16 points of the second kind also need the slice w[nw - 32],
// whose groups are the multiples of pi / 16.

/// The last two levels of a kernel: one task of four points.
template <Kind K>
inline void StoreFour(float* a, Point z0, Point z1, Point z2, Point z3, double r)
{
    StoreQuad(a, 2, Butterfly<K>({z0, z1, z2, z3}, r));
}

/// The last level of a kernel: one task of two points.
template <Kind K>
inline void StoreTwo(float* a, Point z0, Point z1)
{
    Store(a, K == Kind::first ? z0 + z1 : PlusI(z0, z1));
    Store(a + 2, K == Kind::first ? z0 - z1 : MinusI(z0, z1));
}

template <Kind K>
inline void Kernel8(float* a, int nw, const double* w)
{
    const double* eighth = w + (nw > 8 ? nw - 8 : 0);
    const double r = eighth[1];
    const Quad y0 = Butterfly<K>(LoadQuad(a, 4), r);
    Quad y1 = Butterfly<K>(LoadQuad(a + 2, 4), r);
    if constexpr (K == Kind::first)
        y1 = Turn<K>(y1, Diagonal(r));
    else
        y1 = Turn<K>(y1, {{eighth[2], eighth[3]}, {eighth[3], eighth[2]}});
    StoreTwo<Kind::first>(a, y0.z0, y1.z0);
    StoreTwo<Kind::second>(a + 4, y0.z1, y1.z1);
    StoreTwo<Kind::first>(a + 8, y0.z2, y1.z2);
    StoreTwo<K>(a + 12, y0.z3, y1.z3);
}

template <Kind K>
inline void Kernel16(float* a, int nw, const double* w)
{
    const double* eighth = w + (nw - 8);
    const double r = eighth[1];
    const Quad y0 = Butterfly<K>(LoadQuad(a, 8), r);
    Quad y1 = Butterfly<K>(LoadQuad(a + 2, 8), r);
    Quad y2 = Butterfly<K>(LoadQuad(a + 4, 8), r);
    Quad y3 = Butterfly<K>(LoadQuad(a + 6, 8), r);
    if constexpr (K == Kind::first)
    {
        const Factors f = {{eighth[2], eighth[3]}, {eighth[3], eighth[2]}};
        y1 = Turn<K>(y1, f);
        y2 = Turn<K>(y2, Diagonal(r));
        y3 = Turn<K>(y3, Mirror(f));
    }
    else
    {
        const double* sixteenth = w + (nw - 32);
        y1 = Turn<K>(y1, Group(sixteenth + 4));
        y2 = Turn<K>(y2, Group(sixteenth + 8));
        y3 = Turn<K>(y3, Group(sixteenth + 12));
    }
    StoreFour<Kind::first>(a, y0.z0, y1.z0, y2.z0, y3.z0, r);
    StoreFour<Kind::second>(a + 8, y0.z1, y1.z1, y2.z1, y3.z1, r);
    StoreFour<Kind::first>(a + 16, y0.z2, y1.z2, y2.z2, y3.z2, r);
    StoreFour<K>(a + 24, y0.z3, y1.z3, y2.z3, y3.z3, r);
}

/// The four quarters of a block of 64 or 128 floats whose pass is done.
template <Kind K>
inline void Kernels(int m, float* a, int nw, const double* w)
{
    if (m == 128)
    {
        Kernel16<Kind::first>(a, nw, w);
        Kernel16<Kind::second>(a + 32, nw, w);
        Kernel16<Kind::first>(a + 64, nw, w);
        Kernel16<K>(a + 96, nw, w);
    }
    else
    {
        Kernel8<Kind::first>(a, nw, w);
        Kernel8<Kind::second>(a + 16, nw, w);
        Kernel8<Kind::first>(a + 32, nw, w);
        Kernel8<K>(a + 48, nw, w);
    }
}

/// One quarter of a leaf, from its pass to the end.
template <Kind K>
inline void Quarter(int m, float* a, int nw, const double* w)
{
    MiddlePass<K>(m, a, nw, w);
    Kernels<K>(m, a, nw, w);
}

/// A block of 512 or 256 floats whose pass is done, to the end. isplt: the block is of the first kind.
void Leaf(int m, int isplt, float* a, int nw, const double* w)
{
    const int quarter = m / 4;
    Quarter<Kind::first>(quarter, a, nw, w);
    Quarter<Kind::second>(quarter, a + quarter, nw, w);
    Quarter<Kind::first>(quarter, a + 2 * quarter, nw, w);
    if (isplt != 0)
        Quarter<Kind::first>(quarter, a + 3 * quarter, nw, w);
    else
        Quarter<Kind::second>(quarter, a + 3 * quarter, nw, w);
}

void MiddlePassOf(int isplt, int m, float* a, int nw, const double* w)
{
    if (isplt != 0)
        MiddlePass<Kind::first>(m, a, nw, w);
    else
        MiddlePass<Kind::second>(m, a, nw, w);
}

/// Everything after the first pass of an array of more than 512 floats. Leaves are finished one by one from the end to
/// the start; the passes above a leaf run just before the first leaf below them, so a block is still cached when it is
/// split. The k-th leaf from the end is quarter 3 - (k & 3) of its parent: 3 is of the parent's kind, 2 and 0 of the
/// first, 1 of the second.
void Recursion(int n, float* a, int nw, const double* w)
{
    // The last block at every level is of the first kind, as the whole array is.
    int m = n;
    while (m > kLeaf)
    {
        m /= 4;
        MiddlePass<Kind::first>(m, a + (n - m), nw, w);
    }
    Leaf(m, 1, a + (n - m), nw, w);

    int k = 0;
    for (int end = n - m; end > 0; end -= m)
    {
        ++k;
        int isplt = k & 1;
        if ((k & 3) != 0)
            MiddlePassOf(isplt, m, a + (end - m), nw, w);
        else
        {
            // Last of its parent, perhaps of its grandparent and so on: the largest block that ends here decides the
            // kind, and none of these blocks has been split yet.
            int m2 = m;
            int c = k;
            while ((c & 3) == 0)
            {
                m2 *= 4;
                c /= 4;
            }
            isplt = c & 1;
            for (; m2 > kMid; m2 /= 4)
                MiddlePassOf(isplt, m2, a + (end - m2), nw, w);
        }
        Leaf(m, isplt, a + (end - m), nw, w);
    }
}

// ---------------------------------------------------------------------------------------------- reordering

/// How an index of L bits is taken apart: bit 0 | b bits j | one or two middle bits | b bits k, reversed | bit L - 1.
/// Reversal exchanges j with k, the two end bits, and the two middle bits where there are two.
struct Split
{
    int m;    ///< 2^b
    bool two; ///< two middle bits instead of one
};

/// For n floats, more than 32.
inline Split SplitOf(int n)
{
    int m = 1;
    int l = n / 4;
    for (; l > 8; l /= 4)
        m *= 2;
    return {m, l == 8};
}

template <Sign S>
inline void Exchange(float* p, float* q)
{
    const float re = p[0];
    const float im = p[1];
    p[0] = q[0];
    q[0] = re;
    if constexpr (S == Sign::minus)
    {
        p[1] = -q[1];
        q[1] = -im;
    }
    else
    {
        p[1] = q[1];
        q[1] = im;
    }
}

/// Brings n > 32 floats from bit-reversed into natural order, block by block; the minus transform is conjugated with
/// it. kCount: 8 points in a block with one middle bit, 16 with two.
template <Sign S, int kCount>
void Reorder(Index n, float* a, const int* ip, Index m)
{
    // Floats between the points of a block, and the same for the reversed block. The high bits of a block come from the
    // table: ip[m + k] is the reversal of k for the length with one middle bit, in points; one more middle bit doubles
    // it.
    constexpr bool kTwo = kCount == 16;
    Index here[kCount];
    Index there[kCount];
    for (int c = 0; c < kCount; ++c)
    {
        const Index low = c & 1;
        const Index high = (c >> 1) & 1;
        const Index mid = (c >> 2) & 1;
        const Index upper = kTwo ? (c >> 3) & 1 : 0;
        here[c] = 2 * low + 4 * m * mid + 8 * m * upper + (n / 2) * high;
        there[c] = 2 * high + (kTwo ? 4 * m * upper + 8 * m * mid : 4 * m * mid) + (n / 2) * low;
    }
    const Index scale = kTwo ? 4 : 2;
    for (Index k = 0; k < m; ++k)
    {
        for (Index j = 0; j < k; ++j)
        {
            float* p = a + (4 * j + scale * ip[m + k]);
            float* q = a + (4 * k + scale * ip[m + j]);
            for (int c = 0; c < kCount; ++c)
                Exchange<S>(p + here[c], q + there[c]);
        }
        // The block that is its own reversal.
        float* p = a + (4 * k + scale * ip[m + k]);
        for (int c = 0; c < kCount; ++c)
        {
            if (here[c] < there[c])
                Exchange<S>(p + here[c], p + there[c]);
            else if (S == Sign::minus && here[c] == there[c])
                p[here[c] + 1] = -p[here[c] + 1];
        }
    }
}

/// The fixed permutations of 8 and 16 points. The kernels before them always have the plus sign; the minus transform is
/// the plus transform read backwards, X-[k] = X+[N - k], so that a permutation of its own does for it.
template <int kPoints, Sign S>
void Permute(float* a)
{
    float held[2 * kPoints];
    for (int c = 0; c < 2 * kPoints; ++c)
        held[c] = a[c];
    for (int k = 0; k < kPoints; ++k)
    {
        const int from = S == Sign::minus ? (kPoints - k) % kPoints : k;
        int reversed = 0;
        for (int bit = 1; bit < kPoints; bit *= 2)
            reversed = 2 * reversed + ((from & bit) != 0 ? 1 : 0);
        a[2 * k] = held[2 * reversed];
        a[2 * k + 1] = held[2 * reversed + 1];
    }
}

// ---------------------------------------------------------------------------------------------- one row

template <Sign S>
void TransformRow(int n, float* a, const int* ip, int nw, const double* w)
{
    if (n < 4 || (n & (n - 1)) != 0 || (n > 8 && nw < n / 4))
        return;
    switch (n)
    {
    case 4:
    {
        const Point z0 = Load(a);
        const Point z1 = Load(a + 2);
        Store(a, z0 + z1);
        Store(a + 2, z0 - z1);
        return;
    }
    case 8:
    {
        const Quad y = Butterfly<Kind::first>(LoadQuad(a, 2), 0.0);
        Store(a, y.z0);
        Store(a + 2, S == Sign::plus ? y.z2 : y.z3);
        Store(a + 4, y.z1);
        Store(a + 6, S == Sign::plus ? y.z3 : y.z2);
        return;
    }
    case 16:
        // Only cos(pi / 4) is needed, which every slice has in the same place.
        Kernel8<Kind::first>(a, nw, w);
        Permute<8, S>(a);
        return;
    case 32:
        Kernel16<Kind::first>(a, nw, w);
        Permute<16, S>(a);
        return;
    default:
        break;
    }

    FirstPass<S>(n, a, w + (nw - n / 4));
    if (n > kLeaf)
        Recursion(n, a, nw, w);
    else if (n > kMid)
        Leaf(n, 1, a, nw, w);
    else
        Kernels<Kind::first>(n, a, nw, w);

    const Split split = SplitOf(n);
    if (split.two)
        Reorder<S, 16>(n, a, ip, split.m);
    else
        Reorder<S, 8>(n, a, ip, split.m);
}

// ---------------------------------------------------------------------------------------------- columns

/// Moves `kColumns` neighbouring columns, from float `at` of each row on, to consecutive runs of 2 n1 floats in t.
template <int kColumns>
void Gather(Index n1, Index at, float* const* rows, float* t)
{
    for (Index i = 0; i < n1; ++i)
    {
        const float* row = rows[i] + at;
        for (Index q = 0; q < kColumns; ++q)
        {
            t[2 * n1 * q + 2 * i] = row[2 * q];
            t[2 * n1 * q + 2 * i + 1] = row[2 * q + 1];
        }
    }
}

/// The way back.
template <int kColumns>
void Scatter(Index n1, Index at, float* const* rows, const float* t)
{
    for (Index i = 0; i < n1; ++i)
    {
        float* row = rows[i] + at;
        for (Index q = 0; q < kColumns; ++q)
        {
            row[2 * q] = t[2 * n1 * q + 2 * i];
            row[2 * q + 1] = t[2 * n1 * q + 2 * i + 1];
        }
    }
}

using RowFunction = void (*)(int, float*, int*, int, double*);

inline RowFunction RowOf(int sign)
{
    return sign < 0 ? FftsgBackwardRow : FftsgForwardRow;
}

/// One strip from gathering to scattering.
template <int kColumns>
void Strip(int n1, Index at, int sign, float** rows, float* t, int* ip, double* w)
{
    Gather<kColumns>(n1, at, rows, t);
    for (Index q = 0; q < kColumns; ++q)
    {
        if (ip[0] < n1 / 2)
            FftsgMakeTables(n1 / 2, ip, w);
        RowOf(sign)(2 * n1, t + 2 * n1 * q, ip, ip[0], w);
    }
    Scatter<kColumns>(n1, at, rows, t);
}

inline std::size_t AtLeast(int count, std::size_t least)
{
    const std::size_t n = static_cast<std::size_t>(count);
    return n > least ? n : least;
}

/// A length beyond the engine's is refused: its floats could not be counted in an int.
void RequireLength(int n, const char* function)
{
    if (n > detail::kLongestTransform)
        Error(ERR_SOMETHING, function, detail::kTextTooLong);
}
} // namespace

// ---------------------------------------------------------------------------------------------- work areas

namespace detail
{
FftsgAreas::FftsgAreas(int n) : nx_(n), ny_(1)
{
    static constexpr char tag[] = "fftsg: Temporary Array";
    ip_ = MallocArray<int>(static_cast<std::size_t>(n) + 2, tag);
    w_ = MallocArray<double>(AtLeast(n / 2, 1), tag);
}

FftsgAreas::FftsgAreas(int nx, int ny) : nx_(nx), ny_(ny)
{
    static constexpr char tag[] = "fftsg2d:Temporary Array";
    const int longest = nx > ny ? nx : ny;
    rows_ = MallocArray<float*>(static_cast<std::size_t>(ny), tag);
    ip_ = MallocArray<int>(AtLeast(longest, 2), tag);
    w_ = MallocArray<double>(AtLeast(longest / 2, 1), tag);
    std::size_t nt = 8 * static_cast<std::size_t>(ny);
    if (nx == 2)
        nt >>= 1;
    else if (nx < 2)
        nt >>= 2;
    // Kept: this buffer has no label, so its failure reads "demanded bytes = <size> : (null)".
    t_ = MallocArray<float>(nt, nullptr);
}

void FftsgAreas::Run(Complex* data, int sign, Progress* progress) const
{
    if (!ip_)
        return;
    int* const ip = ip_.get();
    double* const w = w_.get();
    const int n2 = 2 * nx_;
    const int longest = nx_ > ny_ ? nx_ : ny_;
    ip[0] = 0;
    FftsgMakeTables((2 * longest) >> 2, ip, w);
    if (!rows_)
    {
        RowOf(sign)(n2, reinterpret_cast<float*>(data), ip, ip[0], w);
        return;
    }
    for (Index y = 0; y < ny_; ++y)
    {
        if (progress != nullptr)
            progress->Step(y);
        float* const row = reinterpret_cast<float*>(data) + y * n2;
        rows_[static_cast<std::size_t>(y)] = row;
        if (n2 > 4 * ip[0])
            FftsgMakeTables(n2 >> 2, ip, w);
        RowOf(sign)(n2, row, ip, ip[0], w);
    }
    if (progress != nullptr)
        progress->Step(ny_);
    FftsgColumns(ny_, n2, sign, rows_.get(), t_.get(), ip, w);
}
} // namespace detail

// ---------------------------------------------------------------------------------------------- entries

void FftsgTransform1d(Complex* data, int n, int sign)
{
    RequireLength(n, "LumoraLib::FftsgTransform1d");
    if (n > 0)
        detail::FftsgAreas(n).Run(data, sign);
}

void FftsgTransform2d(Complex* data, int nx, int ny, int sign)
{
    static constexpr char fn[] = "LumoraLib::FftsgTransform2d";
    RequireLength(nx, fn);
    RequireLength(ny, fn);
    if (nx > 0 && ny > 0)
        detail::FftsgAreas(nx, ny).Run(data, sign);
}

void FftsgMakeTables(int nw, int* ip, double* w)
{
    ip[0] = nw;
    ip[1] = 1;
    if (nw <= 2)
        return;

    // The largest slice: h entries for angles below pi / 4, in groups of cos t, sin t, cos 3t, -sin 3t. The place of
    // its group 0 holds 1, cos(pi / 4) and the two factors that FirstPass() finds the angles between the groups with.
    int h = nw >> 1;
    const double delta = std::atan(1.0) / h;
    const double r = std::cos(delta * h);
    w[0] = 1.0;
    w[1] = r;
    if (h == 4)
    {
        w[2] = std::cos(2.0 * delta);
        w[3] = std::sin(2.0 * delta);
    }
    else if (h > 4)
    {
        w[2] = 0.5 / std::cos(2.0 * delta);
        w[3] = 0.5 / std::cos(6.0 * delta);
        for (int j = 4; j < h; j += 4)
        {
            w[j] = std::cos(delta * j);
            w[j + 1] = std::sin(delta * j);
            w[j + 2] = std::cos(3.0 * delta * j);
            w[j + 3] = -std::sin(3.0 * delta * j);
        }
    }

    // Each further slice is the one before with every second group dropped: twice the angle between groups.
    for (Index p = 0; h > 2;)
    {
        const Index q = p + h;
        h >>= 1;
        w[q] = 1.0;
        w[q + 1] = r;
        if (h == 4)
        {
            w[q + 2] = w[p + 4];
            w[q + 3] = w[p + 5];
        }
        else if (h > 4)
        {
            w[q + 2] = 0.5 / w[p + 4];
            w[q + 3] = 0.5 / w[p + 6];
            for (Index j = 4; j < h; j += 4)
                for (Index i = 0; i < 4; ++i)
                    w[q + j + i] = w[p + 2 * j + i];
        }
        p = q;
    }

    // The reordering tables of this and of all shorter lengths: for m = 2^b the entries ip[m] to ip[2m - 1] hold the
    // reversals of the b-bit numbers, moved up past the bits below them (see Reorder). About sqrt(nw) entries.
    int m = 1;
    for (int l = nw; l > 8; l >>= 2)
    {
        m *= 2;
        for (int k = 0; k < m; ++k)
        {
            int reversed = 0;
            for (int bit = 1; bit < m; bit *= 2)
                reversed = 2 * reversed + ((k & bit) != 0 ? 1 : 0);
            ip[m + k] = 4 * m * reversed;
        }
    }
}

void FftsgForwardRow(int n, float* a, int* ip, int nw, double* w)
{
    TransformRow<Sign::plus>(n, a, ip, nw, w);
}

void FftsgBackwardRow(int n, float* a, int* ip, int nw, double* w)
{
    TransformRow<Sign::minus>(n, a, ip, nw, w);
}

void FftsgColumns(int n1, int n2, int sign, float** rows, float* t, int* ip, double* w)
{
    RequireLength(n1, "LumoraLib::FftsgColumns");
    if (n1 <= 0)
        return;
    for (Index at = 0; n2 - at >= 2;)
    {
        // A row of a supported length is a whole number of strips of one width.
        const Index columns = (n2 - at) / 2;
        if (columns >= 4)
        {
            Strip<4>(n1, at, sign, rows, t, ip, w);
            at += 8;
        }
        else if (columns >= 2)
        {
            Strip<2>(n1, at, sign, rows, t, ip, w);
            at += 4;
        }
        else
        {
            Strip<1>(n1, at, sign, rows, t, ip, w);
            at += 2;
        }
    }
}
} // namespace LumoraLib
