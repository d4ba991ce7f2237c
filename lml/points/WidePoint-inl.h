// The loops of the point sources, the wide room. See WidePoint.h; PointSource.cpp holds the loops as the formulas read.
//
// What depends on the column alone is tabulated in blocks of kColumns on the stack, which needs no memory of its own,
// so that several threads may add to fields of theirs at the same time. Coordinates that grow by repeated addition are
// added up there and handed on from block to block: the same sums as in the plain loops.
#include "simd/SinCosBody-inl.h"

namespace LumoraLib::detail::LML_WIDE_NS
{
namespace point
{
static constexpr std::int32_t kLanes = VD::lanes;
static constexpr std::int32_t kColumns = 2048;

LML_INLINE float* SampleAt(const PointPatch& patch, std::int32_t i, std::int32_t j)
{
    return patch.samples + 2 * (static_cast<std::ptrdiff_t>(patch.nx) * j + i);
}

/// Adds re and im, turned by the quarter turns in the low bits of t and rounded to float, to kLanes samples in single
/// precision.
LML_INLINE void AddTurned(float* p, VD re, VD im, VD t)
{
#if LML_WIDE_LEVEL == 2
    const __m512 both = _mm512_castpd_ps(_mm512_insertf64x4(
        _mm512_castps_pd(_mm512_castps256_ps512(_mm512_cvtpd_ps(re.v))), _mm256_castps_pd(_mm512_cvtpd_ps(im.v)), 1));
    // For each number of quarter turns the signs of a sample's members, and in the bits that say where they come from
    // whether they change places.
    const __m512i turns = _mm512_setr_epi32(0, 0, 8 | INT32_MIN, 8, INT32_MIN, INT32_MIN, 8, 8 | INT32_MIN, 0, 0,
                                            8 | INT32_MIN, 8, INT32_MIN, INT32_MIN, 8, 8 | INT32_MIN);
    const __m512i turn = _mm512_permutexvar_epi64(_mm512_castpd_si512(t.v), turns);
    const __m512i order = _mm512_setr_epi32(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    const __m512 samples = _mm512_permutexvar_ps(_mm512_xor_si512(order, turn), both);
    const __m512 signs = _mm512_and_ps(_mm512_castsi512_ps(turn), _mm512_set1_ps(-0.0f));
    (VF::LoadU(p) + VF(_mm512_xor_ps(samples, signs))).StoreU(p);
#else
    SinCosTurn(t, im, re);
#if LML_WIDE_LEVEL == 1
    const __m256 both = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(re.v)), _mm256_cvtpd_ps(im.v), 1);
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    (VF::LoadU(p) + VF(_mm256_permutevar8x32_ps(both, order))).StoreU(p);
#else
    (VF::LoadU(p) + VF(_mm_unpacklo_ps(_mm_cvtpd_ps(re.v), _mm_cvtpd_ps(im.v)))).StoreU(p);
#endif
#endif
}

// -------------------------------------------------------------------------------------------------------- exact family

// A step is a group of vectors. Roots and divisions run a step ahead of the sines and cosines, through a ring of two
// steps: both units of the processor are busy, and nothing that waits for a root fills its scheduler. The last step of
// a row looks ahead to the next row.
static constexpr std::int32_t kStep = kSinCosGroup * kLanes;
static_assert(kColumns % kStep == 0);
// Memory is asked for this many samples before they are needed.
static constexpr std::int32_t kExactAhead = 256;

/// What depends on the column alone, whole steps of it, for `count` columns from `first` on.
template <bool weighted>
struct ExactColumns
{
    std::int32_t first, count;
    alignas(64) double squares[kColumns];
    alignas(64) double weights[weighted ? kColumns : 1];
    LML_MEMBER void Fill(const PointPatch& patch, const ExactWave& wave)
    {
        for (std::int32_t n = 0; n < count; ++n)
        {
            const double x = (static_cast<double>(first + n) - patch.nx / 2) * patch.px;
            squares[n] = (x - wave.x0) * (x - wave.x0);
            if constexpr (weighted)
                weights[n] = PointWindow(wave.window, wave.x0, x, wave.halfX);
        }
        for (std::int32_t n = count; n % kStep != 0; ++n)
        {
            squares[n] = squares[count - 1];
            if constexpr (weighted)
                weights[n] = 0.0;
        }
    }
};

/// What depends on the row alone: the square, and the weight where there are some.
struct ExactRow
{
    VD square, weight;
    template <bool weighted>
    LML_MEMBER static ExactRow At(const PointPatch& patch, const ExactWave& wave, std::int32_t j)
    {
        const double y = (static_cast<double>(j) - patch.ny / 2) * patch.py;
        return {VD((y - wave.y0) * (y - wave.y0) + wave.z0 * wave.z0),
                VD(weighted ? PointWindow(wave.window, wave.y0, y, wave.halfY) : 1.0)};
    }
};

/// Amplitudes and phases of a step's samples, two steps in turn.
template <bool weighted, bool single>
struct ExactRing
{
    VD amp, k, shift;
    alignas(64) double amplitude[2 * kStep];
    alignas(64) double phase[2 * kStep];
    LML_MEMBER explicit ExactRing(const ExactWave& wave) : amp(wave.amp), k(wave.k), shift(wave.phase) {}
    LML_MEMBER VD Phase(VD distance) const { return single ? RoundToFloat(k * distance) : k * distance + shift; }
    LML_MEMBER void Prepare(std::int32_t slot, const ExactColumns<weighted>& columns, std::int32_t n, ExactRow row)
    {
#pragma GCC unroll 8
        for (std::int32_t u = 0; u < kStep; u += kLanes)
        {
            const VD distance = Sqrt(VD::Load(columns.squares + n + u) + row.square);
            VD a = amp / distance;
            if constexpr (weighted)
                a = a * VD::Load(columns.weights + n + u) * row.weight;
            a.Store(amplitude + slot + u);
            Phase(distance).Store(phase + slot + u);
        }
    }
    /// Squares of remainders up to here may belong to phases too near to a multiple of pi/2 for the fast sine and
    /// cosine, all of them where a phase may be too large for these. Squares and phases are largest at the ends.
    LML_MEMBER VD NearSquare(const ExactColumns<weighted>& columns, ExactRow first, ExactRow last) const
    {
        const VD square = Max(VD(columns.squares[0]), VD(columns.squares[columns.count - 1]));
        const VD reach = k * Sqrt(square + Max(first.square, last.square));
        const VD largest = single ? RoundToFloat(Abs(reach)) : Abs(reach) + Abs(shift),
                 near = largest * VD(kSinCosNear);
        return Select(largest <= VD(kSinCosFar), near * near, VD(HUGE_VAL));
    }
};

/// Adds a step's samples. next() prepares the coming step: behind the reduction, where it delays least.
template <class Ring, class Next>
LML_INLINE void AddStep(const Ring& ring, std::int32_t slot, VD near, float* p, const Next& next)
{
    constexpr int U = kSinCosGroup;
    VD x[U], t[U], r[U], lo[U], z[U], s[U], c[U];
#pragma GCC unroll 8
    for (int u = 0; u < U; ++u)
        x[u] = VD::Load(ring.phase + slot + u * kLanes);
    SinCosReduce<U>(x, t, r, lo);
#pragma GCC unroll 8
    for (int u = 0; u < U; ++u)
        z[u] = r[u] * r[u];
    next();
    VD nearest = z[0];
#pragma GCC unroll 8
    for (int u = 1; u < U; ++u)
        nearest = Min(nearest, z[u]);
    if (__builtin_expect(Any(nearest <= near), 0))
    {
        SinCosSlowGroup<U>(x, s, c);
#pragma GCC unroll 8
        for (int u = 0; u < U; ++u)
            t[u] = VD::Zero();
    }
    else
    {
        SinCosRest<U>(r, lo, z, s, c);
    }
#pragma GCC unroll 8
    for (int u = 0; u < U; ++u)
    {
        const VD a = VD::Load(ring.amplitude + slot + u * kLanes);
        AddTurned(p + 2 * u * kLanes, a * c[u], a * s[u], t[u]);
    }
}

/// Asks for the lines of a step's samples, of which the row still has `left`.
LML_INLINE void FetchStep(const float* samples, std::int32_t left)
{
#pragma GCC unroll 8
    for (std::int32_t n = 0; n < kStep; n += 8) // a line
        _mm_prefetch(reinterpret_cast<const char*>(samples + 2 * (n < left ? n : left - 1)), _MM_HINT_T0);
}

template <bool weighted, bool single>
LML_NOINLINE void ExactRows(const PointPatch& patch, const ExactWave& wave, std::int32_t jBegin, std::int32_t jEnd)
{
    ExactColumns<weighted> columns;
    ExactRing<weighted, single> ring(wave);
    for (columns.first = patch.iLo; columns.first < patch.iHi; columns.first += kColumns)
    {
        const std::int32_t left = patch.iHi - columns.first, count = left < kColumns ? left : kColumns;
        const std::int32_t lead = count < kExactAhead ? count : kExactAhead;
        columns.count = count;
        columns.Fill(patch, wave);
        ExactRow row = ExactRow::At<weighted>(patch, wave, jBegin);
        const VD near = ring.NearSquare(columns, row, ExactRow::At<weighted>(patch, wave, jEnd - 1));
        std::int32_t slot = 0;
        ring.Prepare(slot, columns, 0, row);
        for (std::int32_t j = jBegin; j < jEnd; ++j)
        {
            float* const samples = SampleAt(patch, columns.first, j);
            const float* const next = j + 1 < jEnd ? samples + 2 * static_cast<std::ptrdiff_t>(patch.nx) : samples;
            for (std::int32_t n = 0; n < count; n += kStep)
            {
                const bool last = n + kStep >= count;
                if (last && j + 1 < jEnd)
                    row = ExactRow::At<weighted>(patch, wave, j + 1);
                // A step that is not whole is added to a copy.
                float part[2 * kStep];
                const bool whole = n + kStep <= count;
                const bool here = n + lead < count;
                const std::int32_t ahead = n + lead - (here ? 0 : count);
                FetchStep((here ? samples : next) + 2 * ahead, count - ahead);
                const std::size_t bytes = static_cast<std::size_t>(count - n) * 2 * sizeof(float);
                if (!whole)
                    std::memcpy(part, samples + 2 * n, bytes);
                AddStep(ring, slot, near, whole ? samples + 2 * n : part,
                        [&]() LML_LAMBDA { ring.Prepare(kStep - slot, columns, last ? 0 : n + kStep, row); });
                if (!whole)
                    std::memcpy(samples + 2 * n, part, bytes);
                slot = kStep - slot;
            }
        }
    }
}

static void Exact(const PointPatch& patch, const ExactWave& wave, std::int32_t jBegin, std::int32_t jEnd)
{
    // A product with a weight of 1 changes nothing.
    if (wave.window == WINDOW_RECT)
        wave.singlePhase ? ExactRows<false, true>(patch, wave, jBegin, jEnd)
                         : ExactRows<false, false>(patch, wave, jBegin, jEnd);
    else
        wave.singlePhase ? ExactRows<true, true>(patch, wave, jBegin, jEnd)
                         : ExactRows<true, false>(patch, wave, jBegin, jEnd);
}

// ------------------------------------------------------------------------------------------------- tables of samples

/// The product of a table entry with the amplitude depends on the entry alone: all of them, rounded, as samples.
LML_INLINE void MakePairs(float* pairs, const double* cosTable, const double* sinTable, double amp)
{
    const VD a(amp);
    for (std::int32_t n = 0; n < kPhaseSteps; n += kLanes)
        StoreComplex(pairs + 2 * n, VD::LoadU(cosTable + n) * a, VD::LoadU(sinTable + n) * a);
}

/// kLanes pairs as one vector, the i-th at index at(i). Loads and inserts outrun the gather instruction on some
/// processors and equal it on others.
template <class At>
LML_INLINE VF PairsAt(const float* pairs, const At& at)
{
    const double* const table = reinterpret_cast<const double*>(pairs);
    const auto two = [&](int i) LML_LAMBDA
    {
        return _mm_loadh_pd(_mm_load_sd(table + at(i)), table + at(i + 1));
    };
#if LML_WIDE_LEVEL == 0
    return VF(_mm_castpd_ps(two(0)));
#else
    const auto four = [&](int i) LML_LAMBDA
    {
        return _mm256_insertf128_pd(_mm256_castpd128_pd256(two(i)), two(i + 2), 1);
    };
#if LML_WIDE_LEVEL == 1
    return VF(_mm256_castpd_ps(four(0)));
#else
    return VF(_mm512_castpd_ps(_mm512_insertf64x4(_mm512_castpd256_pd512(four(0)), four(4), 1)));
#endif
#endif
}

/// The indices in 64-bit pieces: element i of the result is the low or high half of piece i / 2.
struct IndexPieces
{
    std::uint64_t piece[kLanes / 2];
    LML_MEMBER explicit IndexPieces(VH index)
    {
#if LML_WIDE_LEVEL == 0
        piece[0] = static_cast<std::uint64_t>(_mm_cvtsi128_si64(index.v));
#else
#if LML_WIDE_LEVEL == 1
        const __m128i low = index.v;
#else
        const __m128i low = _mm256_castsi256_si128(index.v), high = _mm256_extracti128_si256(index.v, 1);
        piece[2] = static_cast<std::uint64_t>(_mm_cvtsi128_si64(high));
        piece[3] = static_cast<std::uint64_t>(_mm_extract_epi64(high, 1));
#endif
        piece[0] = static_cast<std::uint64_t>(_mm_cvtsi128_si64(low));
        piece[1] = static_cast<std::uint64_t>(_mm_extract_epi64(low, 1));
#endif
    }
    LML_MEMBER std::uint64_t operator()(int i) const
    {
        return i % 2 == 0 ? piece[i / 2] & 0xffffffffu : piece[i / 2] >> 32;
    }
};

LML_INLINE void AddPair(float* p, const float* pairs, std::int32_t index)
{
    p[0] += pairs[2 * index];
    p[1] += pairs[2 * index + 1];
}

// -------------------------------------------------------------------------------------------------------- table family

// Memory is asked for this many samples, 4 KiB, before they are needed: the processor's own look-ahead falls short of a
// loop that takes two cycles a sample.
static constexpr std::int32_t kAhead = 512;
static constexpr std::int32_t kApart = 512;

#if LML_WIDE_LEVEL == 2
static constexpr std::int32_t kEarly = 64;
#else
static constexpr std::int32_t kEarly = 0;
#endif

/// The phase indices of a block of columns, row after row, vector after vector. Eight lanes pass through memory, kEarly
/// samples before they are used: by then their store has left the processor's queue, and loading them one by one is
/// cheaper than taking a vector apart. With fewer lanes the roots are what takes the time.
class TableIndices
{
public:
    /// The squares of `columns` columns, whole vectors there; ring has room for 2 kEarly indices.
    LML_MEMBER TableIndices(const PointPatch& patch, const TableWave& wave, const double* squares, std::int32_t columns,
                            std::int32_t* ring)
        : squares_(squares), ring_(ring), columns_(columns), py_(patch.py), ys_(wave.ys), d2_(wave.d2),
          factor_(wave.factor), offset_(wave.offset), mask_(wave.mask)
    {
        Enter((static_cast<double>(patch.jLo) - patch.ny / 2) * patch.py);
        for (std::int32_t n = 0; n < kEarly; n += kLanes)
            Take().StoreU(ring + n);
    }
    /// A function that gives the i-th index of the coming vector.
    LML_MEMBER auto Next()
    {
        if constexpr (kEarly > 0)
        {
            const std::int32_t* const index = ring_ + slot_;
            Take().StoreU(ring_ + (slot_ ^ kEarly));
            slot_ = (slot_ + kLanes) & (2 * kEarly - 1);
            return [=](int i) LML_LAMBDA
            {
                return static_cast<std::uint64_t>(static_cast<std::uint32_t>(index[i]));
            };
        }
        else
        {
            return IndexPieces(Take());
        }
    }
    LML_MEMBER void RowDone()
    {
        if (kEarly == 0)
            NextRow();
    }

private:
    LML_MEMBER void Enter(double y)
    {
        y_ = y;
        row_ = VD((y - ys_) * (y - ys_) + d2_);
    }
    LML_MEMBER VH Take()
    {
        const VH index = TruncToInt(factor_ * Sqrt(VD::Load(squares_ + column_) + row_) + offset_) & mask_;
        column_ += kLanes;
        if (kEarly > 0 && __builtin_expect(column_ >= columns_, 0))
            NextRow();
        return index;
    }
    LML_MEMBER void NextRow()
    {
        column_ = 0;
        Enter(y_ + py_);
    }
    const double* squares_;
    std::int32_t* ring_;
    std::int32_t columns_, column_ = 0, slot_ = 0;
    double py_, ys_, d2_, y_;
    VD factor_, offset_, row_;
    VH mask_;
};

static void Table(const PointPatch& patch, const TableWave& wave)
{
    alignas(64) float pairs[2 * kPhaseSteps];
    alignas(64) double room[kColumns + kApart];
    alignas(64) std::int32_t ring[2 * kEarly + 1];
    // A load whose address is close to that of a store before it, modulo 4 KiB, waits for the store. Both advance by 8
    // bytes a sample, so the table is put half of that apart from the samples.
    const std::uintptr_t gap = reinterpret_cast<std::uintptr_t>(SampleAt(patch, patch.iLo, patch.jLo)) -
                               reinterpret_cast<std::uintptr_t>(room);
    double* const squares = room + (gap / 8 + kApart / 2) % kApart / 8 * 8;
    MakePairs(pairs, wave.cosTable, wave.sinTable, wave.amp);
    double x = (static_cast<double>(patch.iLo) - patch.nx / 2) * patch.px;
    for (std::int32_t first = patch.iLo; first < patch.iHi; first += kColumns)
    {
        const std::int32_t count = patch.iHi - first < kColumns ? patch.iHi - first : kColumns;
        for (std::int32_t n = 0; n < count; ++n, x += patch.px)
            squares[n] = (x - wave.xs) * (x - wave.xs);
        for (std::int32_t n = count; n % kLanes != 0; ++n)
            squares[n] = 0.0;
        TableIndices indices(patch, wave, squares, count, ring);
        const std::int32_t whole = count - count % kLanes;
        const std::int32_t lead = whole < kAhead ? whole : kAhead;
        for (std::int32_t j = patch.jLo; j < patch.jHi; ++j)
        {
            float* const p = SampleAt(patch, first, j);
            const auto run = [&](std::int32_t begin, std::int32_t end, const float* ahead) LML_LAMBDA
            {
                for (std::int32_t n = begin; n < end; n += kLanes, ahead += 2 * kLanes)
                {
                    _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T1);
                    (VF::LoadU(p + 2 * n) + PairsAt(pairs, indices.Next())).StoreU(p + 2 * n);
                }
            };
            // The samples kAhead further on, at the end of a row those of the next one.
            const float* const next = j + 1 < patch.jHi ? p + 2 * static_cast<std::ptrdiff_t>(patch.nx) : p;
            run(0, whole - lead, p + 2 * lead);
            run(whole - lead, whole, next);
            if (whole < count)
            {
                const auto index = indices.Next();
                for (std::int32_t n = whole; n < count; ++n)
                    AddPair(p + 2 * n, pairs, static_cast<std::int32_t>(index(n - whole)));
            }
            indices.RowDone();
        }
    }
}

// --------------------------------------------------------------------------------------------------- recurrence family

// Lanes are rows, since the distance is carried along the row. The indices of a group of rows are put down for kBlock
// columns, then row after row is written: rows lie a power of two apart and would push each other out of the
// first-level cache if a column were written to all of them.
static constexpr int kVectors = kLanes == 2 ? 8 : 4;
static constexpr std::int32_t kGroup = kVectors * kLanes;
static constexpr std::int32_t kBlock = 32;

/// What the two passes over a group of rows share.
struct RowGroup
{
    const float* pairs;
    float* first; // sample 0 of the first row
    std::ptrdiff_t stride;
    std::int32_t count; // even, up to kGroup
};

/// Columns i, i + step, ...: `columns` of them.
template <int step>
LML_INLINE void RecurrencePass(const RecurrenceWave& wave, const RowGroup& group, const VD* rowSquares, double square,
                               double numerator, std::int32_t columns, std::int32_t i)
{
    alignas(64) std::int32_t indices[kBlock * kGroup];
    const VD factor(wave.factor), offset(wave.offset), one(1.0), two(2.0), growth(wave.growth);
    const VH mask(wave.mask);
    VD r[kVectors], q[kVectors], c(numerator);
#pragma GCC unroll 8
    for (int v = 0; v < kVectors; ++v)
    {
        r[v] = Sqrt(VD(square) + rowSquares[v]);
        q[v] = one / r[v];
    }
    // The first block ends where a row's samples are aligned for all that follow.
    const std::uintptr_t at =
        reinterpret_cast<std::uintptr_t>(group.first) / 8 + static_cast<std::uintptr_t>(step > 0 ? i : i + 1);
    std::int32_t block = static_cast<std::int32_t>(step > 0 ? (0 - at) % 8 : at % 8);
    if (block == 0)
        block = kBlock;
    while (columns > 0)
    {
        if (block > columns)
            block = columns;
        for (std::int32_t t = 0; t < block; ++t)
        {
            // In a row's own order: a pass to the left fills the block from its end.
            std::int32_t* const to = indices + (step > 0 ? t : block - 1 - t) * kGroup;
#pragma GCC unroll 8
            for (int v = 0; v < kVectors; ++v)
            {
                (TruncToInt(factor * r[v] + offset) & mask).StoreU(to + v * kLanes);
                r[v] = r[v] + c * q[v];
                q[v] = q[v] * (two - q[v] * r[v]);
            }
            c = c + growth;
        }
        float* row = group.first + 2 * static_cast<std::ptrdiff_t>(step > 0 ? i : i - (block - 1));
        columns -= block;
        i += step * block;
        const std::int32_t coming = columns < kBlock ? columns : kBlock;
        const std::ptrdiff_t ahead = 2 * (step > 0 ? block : -coming);
        for (std::int32_t n = 0; n < group.count; ++n, row += group.stride)
        {
            for (std::int32_t t = 0; t < coming; t += 8)
                _mm_prefetch(reinterpret_cast<const char*>(row + ahead + 2 * t), _MM_HINT_T1);
            std::int32_t t = 0;
            for (; t + kLanes <= block; t += kLanes)
            {
                const std::int32_t* const from = indices + t * kGroup + n;
                const auto index = [=](int e) LML_LAMBDA
                {
                    return static_cast<std::uint32_t>(from[e * kGroup]);
                };
                (VF::LoadU(row + 2 * t) + PairsAt(group.pairs, index)).StoreU(row + 2 * t);
            }
            for (; t < block; ++t)
                AddPair(row + 2 * t, group.pairs, indices[t * kGroup + n]);
        }
        block = kBlock;
    }
}

static void Recurrence(const PointPatch& patch, const RecurrenceWave& wave)
{
    alignas(64) float pairs[2 * kPhaseSteps];
    MakePairs(pairs, wave.cosTable, wave.sinTable, wave.amp);
    double y = (static_cast<double>(patch.jLo) - patch.ny / 2) * patch.py;
    std::int32_t left = (patch.jHi - patch.jLo) / 2 * 2;
    for (std::int32_t j = patch.jLo; left > 0; j += kGroup, left -= kGroup)
    {
        const RowGroup group = {pairs, SampleAt(patch, 0, j), 2 * static_cast<std::ptrdiff_t>(patch.nx),
                                left < kGroup ? left : kGroup};
        alignas(64) double d[kGroup];
        for (std::int32_t n = 0; n < kGroup; n += 2)
        {
            // Lanes behind the last row are computed and not used.
            d[n] = y - wave.y;
            d[n + 1] = d[n] + patch.py;
            y += 2 * patch.py;
        }
        VD rowSquares[kVectors];
#pragma GCC unroll 8
        for (int v = 0; v < kVectors; ++v)
        {
            const VD a = VD::Load(d + v * kLanes);
            rowSquares[v] = a * a;
        }
        if (wave.right)
            RecurrencePass<1>(wave, group, rowSquares, wave.right2, wave.rightStep, patch.iHi - wave.start, wave.start);
        if (wave.left)
            RecurrencePass<-1>(wave, group, rowSquares, wave.left2, wave.leftStep, wave.start - patch.iLo,
                               wave.start - 1);
    }
}
} // namespace point

extern const PointTable pointTable;
const PointTable pointTable = {point::Exact, point::Table, point::Recurrence};

} // namespace LumoraLib::detail::LML_WIDE_NS
