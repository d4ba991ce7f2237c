// Fields of point sources at four trade-offs of speed and exactness. The loops here define the results; with the wide
// forms chosen they run in WidePoint-inl.h, each sample through the same arithmetic.
#include "points/PointSource.h"
#include "base/Constants.h"
#include "base/Floats.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/Parallel.h"
#include "base/StepByStep.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"
#include "points/WidePoint.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib
{
namespace detail
{
namespace
{
// A limit of the tangent that is open, and from where on a limit counts as open for a source in the plane.
constexpr double kOpenTangent = 1e100;
constexpr double kOpenFrom = 1e99;

// Below this many samples the table of rounded products costs more than it saves.
constexpr std::int64_t kWideFrom = 256;
// Below this many samples a loop is over before a team has started.
constexpr std::int64_t kParallelFrom = 16384;

constexpr char kBadForm[] = "incorrect form";
constexpr char kBadWindow[] = "designated WindowFunc is not implemented at this version. ";

// ------------------------------------------------------------------------------------------------------- plain loops

void ExactLoop(const PointPatch& p, const ExactWave& w, std::int32_t jBegin, std::int32_t jEnd)
{
    for (std::int32_t j = jBegin; j < jEnd; ++j)
    {
        const double y = (static_cast<double>(j) - p.ny / 2) * p.py;
        const double wy = PointWindow(w.window, w.y0, y, w.halfY);
        float* const row = p.samples + 2 * (static_cast<std::ptrdiff_t>(p.nx) * j);
        for (std::int32_t i = p.iLo; i < p.iHi; ++i)
        {
            const double x = (static_cast<double>(i) - p.nx / 2) * p.px;
            const double r = std::sqrt((x - w.x0) * (x - w.x0) + ((y - w.y0) * (y - w.y0) + w.z0 * w.z0));
            const double a = w.amp / r * PointWindow(w.window, w.x0, x, w.halfX) * wy;
            const double phi = w.singlePhase ? static_cast<double>(static_cast<float>(w.k * r)) : w.k * r + w.phase;
            row[2 * i] += static_cast<float>(a * std::cos(phi));
            row[2 * i + 1] += static_cast<float>(a * std::sin(phi));
        }
    }
}

void TableLoop(const PointPatch& p, const TableWave& w)
{
    double y = (static_cast<double>(p.jLo) - p.ny / 2) * p.py;
    for (std::int32_t j = p.jLo; j < p.jHi; ++j, y += p.py)
    {
        float* const row = p.samples + 2 * (static_cast<std::ptrdiff_t>(p.nx) * j);
        double x = (static_cast<double>(p.iLo) - p.nx / 2) * p.px;
        for (std::int32_t i = p.iLo; i < p.iHi; ++i, x += p.px)
        {
            const double r = std::sqrt((x - w.xs) * (x - w.xs) + ((y - w.ys) * (y - w.ys) + w.d2));
            const std::int32_t n = TruncI32(w.factor * r + w.offset) & w.mask;
            row[2 * i] += static_cast<float>(w.cosTable[n] * w.amp);
            row[2 * i + 1] += static_cast<float>(w.sinTable[n] * w.amp);
        }
    }
}

void RecurrenceLoop(const PointPatch& p, const RecurrenceWave& w)
{
    const auto add = [&w](float* sample, std::int32_t n)
    {
        sample[0] += static_cast<float>(w.cosTable[n] * w.amp);
        sample[1] += static_cast<float>(w.sinTable[n] * w.amp);
    };
    // Columns i, i + step, ... of a pair of rows. (r + c / r)^2 is the next squared distance up to the square of c / r,
    // the numerator c being half the difference of two neighbouring squares.
    const auto pass = [&](float* row0, double d0, double d1, double square, double c, std::int32_t i,
                          std::int32_t columns, std::int32_t step)
    {
        float* const row1 = row0 + 2 * static_cast<std::ptrdiff_t>(p.nx);
        double r0 = std::sqrt(square + d0 * d0);
        double r1 = std::sqrt(square + d1 * d1);
        double q0 = 1.0 / r0;
        double q1 = 1.0 / r1;
        for (; columns > 0; --columns, i += step)
        {
            const std::int32_t n0 = TruncI32(w.factor * r0 + w.offset) & w.mask;
            r0 = r0 + c * q0;
            const std::int32_t n1 = TruncI32(w.factor * r1 + w.offset) & w.mask;
            r1 = r1 + c * q1;
            q0 = q0 * (2.0 - q0 * r0);
            c = c + w.growth;
            q1 = q1 * (2.0 - q1 * r1);
            add(row0 + 2 * i, n0);
            add(row1 + 2 * i, n1);
        }
    };
    double y = (static_cast<double>(p.jLo) - p.ny / 2) * p.py;
    // Kept: rows run in pairs, so the last one of an odd count is not computed.
    for (std::int32_t j = p.jLo; j < p.jHi - 1; j += 2, y += 2 * p.py)
    {
        float* const row = p.samples + 2 * (static_cast<std::ptrdiff_t>(p.nx) * j);
        const double d0 = y - w.y;
        const double d1 = d0 + p.py;
        if (w.right)
            pass(row, d0, d1, w.right2, w.rightStep, w.start, p.iHi - w.start, 1);
        if (w.left)
            pass(row, d0, d1, w.left2, w.leftStep, w.start - 1, w.start - p.iLo, -1);
    }
}

// ------------------------------------------------------------------------------------------------------------ ranges

/// trunc(floor(c / pitch + 0.5)).
std::int32_t NearestSample(double c, double pitch)
{
    return NearestIndex(c, pitch, 0);
}

std::int32_t Clamp(std::int64_t index, std::int32_t size)
{
    return static_cast<std::int32_t>(std::max(std::int64_t{0}, std::min(index, std::int64_t{size})));
}

/// Columns lo <= i < hi of one axis.
struct Range
{
    std::int32_t lo;
    std::int32_t hi;
};

/// The samples within `reach` samples of the source's one; sums in 64 bits, since a source or a half-width out of the
/// 32-bit range comes as the truncation's overflow value.
Range BandAround(double c, double half, double pitch, std::int32_t size)
{
    const std::int64_t reach = TruncI32(half / pitch + 0.5);
    const std::int64_t centre = std::int64_t{NearestSample(c, pitch)} + size / 2;
    return {Clamp(centre - reach, size), Clamp(centre + reach, size)};
}

/// The samples between two coordinates. The range is empty where it lies outside the grid.
Range BandBetween(double low, double high, double pitch, std::int32_t size)
{
    const double top = (size / 2) * pitch;
    const double bottom = static_cast<double>(-std::int64_t{size} / 2) * pitch;
    const std::int32_t hi = high > top ? size : bottom >= high ? 0 : NearestIndex(high, pitch, size / 2);
    const std::int32_t lo = bottom >= low ? 0 : low > top ? size : NearestIndex(low, pitch, size / 2);
    if (hi < 1 || lo >= size)
        return {0, 0};
    // A lower limit that is not a number comes out as the overflow value: the range then begins at the grid's edge.
    return {Clamp(lo, size), Clamp(hi, size)};
}

// ------------------------------------------------------------------------------------------------------------ limits

/// Tangents of the angles at the two ends of a band of angular frequencies around `shift`; open beyond the evanescent
/// limit.
void TangentLimits(double K, double shift, double pitch, double& tanMax, double& tanMin)
{
    const double half = detail::kPi / pitch;
    const double p = shift + half;
    const double n = shift - half;
    tanMax = K > p ? p / std::sqrt(K * K - p * p) : kOpenTangent;
    tanMin = n > -K ? n / std::sqrt(K * K - n * n) : -kOpenTangent;
}

void FillPhaseTable(double* cosTable, double* sinTable)
{
    for (std::int32_t n = 0; n < kPhaseSteps; ++n)
    {
        cosTable[n] = std::cos(detail::kTwoPi * n / kPhaseSteps);
        sinTable[n] = std::sin(detail::kTwoPi * n / kPhaseSteps);
    }
}

/// The library-wide table of the SQR and RF members. Kept: one set and one flag serve both, and the limits are tangents
/// in the one form, angles in the other: the Init has to be that of the Add.
struct GlobalTable
{
    bool ready = false;
    double maxX = 0.0;
    double minX = 0.0;
    double maxY = 0.0;
    double minY = 0.0;
    double wavelength = 0.0;
    double factor = 0.0;
    std::int32_t mask = 0;
    double cosTable[kPhaseSteps] = {};
    double sinTable[kPhaseSteps] = {};

    void Fill(double lambda)
    {
        wavelength = lambda;
        factor = kPhaseSteps / lambda;
        mask = kPhaseSteps - 1;
        FillPhaseTable(cosTable, sinTable);
        ready = true;
    }
};
GlobalTable globalTable;

/// The table, refused for a field in another form and before it is filled.
const GlobalTable& RequireTable(int form, const char* fn, const char* notReady)
{
    if (form != 0)
        Error(ERR_PARAMETER, fn, kBadForm);
    if (!globalTable.ready)
        Error(ERR_SOMETHING, fn, notReady);
    return globalTable;
}

// ----------------------------------------------------------------------------------------------------------- the runs

PointPatch PatchOf(Lumora& field, const Range& columns, const Range& rows)
{
    return {detail::Floats(field.GetDataPointer()),
            field.GetNx(),
            field.GetNy(),
            field.GetPx(),
            field.GetPy(),
            columns.lo,
            columns.hi,
            rows.lo,
            rows.hi};
}

std::int64_t SamplesOf(const PointPatch& p)
{
    return p.iLo < p.iHi && p.jLo < p.jHi ? (std::int64_t{p.iHi} - p.iLo) * (p.jHi - p.jLo) : 0;
}

void RequireWindow(bool known, const char* fn)
{
    if (!known)
        Error(ERR_SOMETHING, fn, kBadWindow);
}

bool IsExactWindow(WindowFunc window)
{
    return window == WINDOW_RECT || window == WINDOW_TRIANGLE || window == WINDOW_COSINE;
}

void AddExact(Lumora& field, ExactWave w, bool parallel)
{
    // Half-widths of the patch of the plane that the wave reaches within the sampling's band.
    const double lambda = field.GetWavelength();
    const double px = field.GetPx();
    const double py = field.GetPy();
    w.halfX = std::tan(std::asin(lambda / (2.0 * px))) * std::abs(w.z0);
    w.halfY = std::tan(std::asin(lambda / (2.0 * py))) * std::abs(w.z0);
    const PointPatch p =
        PatchOf(field, BandAround(w.x0, w.halfX, px, field.GetNx()), BandAround(w.y0, w.halfY, py, field.GetNy()));
    const std::int64_t count = SamplesOf(p);
    CheckSource("LumoraLib::Lumora::AddSphericalWave", field, w.z0, count == 0);
    if (count == 0)
        return;
    const auto loop = !StepByStep() ? WidePoints().exact : ExactLoop;
    ParallelTeam(parallel && count >= kParallelFrom ? GetNumThreads() : 1,
                 [&](int index, int size)
                 {
                     const Block rows = BlockOf(static_cast<std::size_t>(p.jHi - p.jLo), index, size);
                     if (rows.begin < rows.end)
                         loop(p, w, p.jLo + static_cast<std::int32_t>(rows.begin),
                              p.jLo + static_cast<std::int32_t>(rows.end));
                 });
}

/// What the two table members have of their own.
struct TableSource
{
    double tanMaxX, tanMinX, tanMaxY, tanMinY;
    double factor;
    double steps; // of a turn
    std::int32_t mask;
    const double* cosTable;
    const double* sinTable;
};

/// How far the patch reaches from the source on one axis, seen from a source at z.
void Extents(double z, double tanMax, double tanMin, double& high, double& low)
{
    if (z < 0.0)
    {
        high = -tanMax * z;
        low = -tanMin * z;
    }
    else if (z > 0.0)
    {
        high = -tanMin * z;
        low = -tanMax * z;
    }
    else
    {
        high = tanMax >= kOpenFrom ? kOpenFrom : 0.0;
        low = tanMin <= -kOpenFrom ? -kOpenFrom : 0.0;
    }
}

void AddByTable(Lumora& field, const char* fn, const TableSource& t, double x, double y, double z, double amp,
                double phase, WindowFunc window)
{
    const double px = field.GetPx();
    const double py = field.GetPy();
    // The amplitude and the extents take the argument z itself, not the distance from the plane.
    double xHi = 0.0;
    double xLo = 0.0;
    double yHi = 0.0;
    double yLo = 0.0;
    Extents(z, t.tanMaxX, t.tanMinX, xHi, xLo);
    Extents(z, t.tanMaxY, t.tanMinY, yHi, yLo);
    // Kept: in x and y the source stands on the nearest sample; the distance from the plane keeps its full value.
    const Vector origin = field.GetOrigin();
    const double dz = z - origin.z;
    TableWave w{};
    w.xs = NearestSample(x - origin.x, px) * px;
    w.ys = NearestSample(y - origin.y, py) * py;
    RequireWindow(window == WINDOW_NONE || window == WINDOW_RECT, fn);
    FieldAccess::RequireSamples(field, fn);
    const bool whole = window == WINDOW_NONE;
    const PointPatch p =
        PatchOf(field, whole ? Range{0, field.GetNx()} : BandBetween(xLo + w.xs, xHi + w.xs, px, field.GetNx()),
                whole ? Range{0, field.GetNy()} : BandBetween(yLo + w.ys, yHi + w.ys, py, field.GetNy()));
    const std::int64_t count = SamplesOf(p);
    CheckSource(fn, field, z, count == 0);
    if (count == 0)
        return;
    w.d2 = dz * dz;
    w.amp = amp / std::abs(z);
    // Kept: a converging wave (dz > 0) runs the table backwards and takes the phase in table steps; a diverging one
    // takes it in radians.
    w.factor = dz > 0.0 ? -t.factor : t.factor;
    w.offset = dz > 0.0 ? phase : 0.5 * phase / detail::kPi * t.steps;
    w.cosTable = t.cosTable;
    w.sinTable = t.sinTable;
    w.mask = t.mask;
    (!StepByStep() && count >= kWideFrom ? WidePoints().table : TableLoop)(p, w);
}
} // namespace
} // namespace detail

using namespace detail;

// --------------------------------------------------------------------------------------------------------- descriptor

SphericalWaveDescriptor::SphericalWaveDescriptor(double wavelength_, double px_, double py_, const Vector& direction)
    : tableSize(kPhaseSteps), tanMaxX(0.0), tanMinX(0.0), tanMaxY(0.0), tanMinY(0.0), cosTable(nullptr),
      sinTable(nullptr), tableMask(kPhaseSteps - 1), tableFactor(kPhaseSteps / wavelength_), wavelength(wavelength_),
      px(px_), py(py_)
{
    static constexpr char label[] = "SphericalWaveDescriptor";
    const double K = detail::kTwoPi / wavelength;
    wavevector = direction.GetNormalized() * K;
    TangentLimits(K, wavevector.x, px, tanMaxX, tanMinX);
    TangentLimits(K, wavevector.y, py, tanMaxY, tanMinY);
    double* const both = static_cast<double*>(Malloc(2 * sizeof(double) * kPhaseSteps, label));
    // The pointer frees the block when its count cannot be allocated.
    detail::WithMemory([&] { tables_ = std::shared_ptr<void>(both, Free); },
                       [] { Error(ERR_MEMORY, "LumoraLib::Malloc", label); });
    cosTable = both;
    sinTable = both + kPhaseSteps;
    FillPhaseTable(cosTable, sinTable);
}

SphericalWaveDescriptor::SphericalWaveDescriptor(const SphericalWaveDescriptor& other) = default;

SphericalWaveDescriptor& SphericalWaveDescriptor::operator=(const SphericalWaveDescriptor& other) = default;

SphericalWaveDescriptor::~SphericalWaveDescriptor()
{
    cosTable = nullptr;
    sinTable = nullptr;
}

bool SphericalWaveDescriptor::operator==(const SphericalWaveDescriptor& other) const
{
    return IsSameAs(other.wavelength, other.px, other.py, other.wavevector);
}

bool SphericalWaveDescriptor::IsSameAs(double wavelength_, double px_, double py_, Vector v) const
{
    return wavelength == wavelength_ && px == px_ && py == py_ && wavevector == v;
}

bool SphericalWaveDescriptor::IsCompatibleWith(double wavelength_, double px_, double py_, Vector v) const
{
    return IsSameAs(wavelength_, px_, py_, v);
}

// The members are the caller's to write: whatever the mask says, an index stays inside the tables.
double SphericalWaveDescriptor::CalcSin(double t) const
{
    return sinTable[TruncI32(t) & tableMask & (kPhaseSteps - 1)];
}

double SphericalWaveDescriptor::CalcCos(double t) const
{
    return cosTable[TruncI32(t) & tableMask & (kPhaseSteps - 1)];
}

// ------------------------------------------------------------------------------------------------------- exact family

Lumora& Lumora::AddSphericalWave(Vector p)
{
    return AddSphericalWave(p, LumoraLib::Phase(0), 1.0, WINDOW_RECT);
}

Lumora& Lumora::AddSphericalWave(Vector p, LumoraLib::Phase phase, double amp)
{
    return AddSphericalWave(p, phase, amp, WINDOW_RECT);
}

Lumora& Lumora::AddSphericalWave(Vector p, LumoraLib::Phase phase, double amp, WindowFunc window)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AddSphericalWave";
    if (form_ != 0)
        Error(ERR_PARAMETER, fn, ":incorrect form");
    RequireWindow(IsExactWindow(window), fn);
    RequireSamples(fn);
    const Vector local = GetLocalPosition(p);
    AddExact(*this, {k_, local.x, local.y, local.z, amp, phase, window, 0.0, 0.0, false}, true);
    return *this;
}

Lumora& Lumora::AddSphericalWave(double x, double y, double z, double amp, WindowFunc window)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AddSphericalWave";
    if (form_ != 0)
        Error(ERR_PARAMETER, fn, ":incorrect form");
    RequireWindow(IsExactWindow(window), fn);
    RequireSamples(fn);
    // Kept: k r passes through single precision here, so its error grows with the distance (about 0.03 rad at 10^6
    // rad).
    AddExact(*this, {k_, x, y, z, amp, 0.0, window, 0.0, 0.0, true}, false);
    return *this;
}

Lumora& Lumora::SetSphericalWave(double x, double y, double z, double amp, WindowFunc window)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SetSphericalWave";
    RequireWindow(IsExactWindow(window), fn);
    RequireSamples(fn);
    form_ = COMPLEX_AMPLITUDE;
    FillSamples(dataPointer_, N(), Complex());
    return AddSphericalWave(x, y, z, amp, window);
}

// ------------------------------------------------------------------------------------------------------- table family

Lumora& Lumora::AddSphericalWaveSqr(const SphericalWaveDescriptor& d, double x, double y, double z, double amp,
                                    double phase, WindowFunc window)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AddSphericalWaveSqr";
    if (form_ != 0)
        Error(ERR_PARAMETER, fn, kBadForm);
    // Kept: the descriptor's py is compared with Px, and Py is not consulted, so only descriptors with px = py ever
    // match.
    if (!(d.wavelength == GetWavelength() && d.px == px_ && d.py == px_))
        Error(ERR_SOMETHING, fn, "Dscriptor error");
    AddByTable(*this, fn,
               {d.tanMaxX, d.tanMinX, d.tanMaxY, d.tanMinY, d.tableFactor, static_cast<double>(d.tableSize),
                d.tableMask & (kPhaseSteps - 1), d.cosTable, d.sinTable},
               x, y, z, amp, phase, window);
    return *this;
}

void Lumora::InitSphericalWaveSQR(Vector direction)
{
    const double lambda = GetWavelength();
    const double K = detail::kTwoPi / lambda;
    const Vector wavevector = direction.GetNormalized() * K;
    GlobalTable& g = globalTable;
    TangentLimits(K, wavevector.x, px_, g.maxX, g.minX);
    TangentLimits(K, wavevector.y, py_, g.maxY, g.minY);
    g.Fill(lambda);
}

Lumora& Lumora::AddSphericalWaveSQR(double x, double y, double z, double amp, double phase, WindowFunc window)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AddSphericalWaveSQR";
    const GlobalTable& g = RequireTable(form_, fn, "InitSphericalWaveSQR() must be prior to this function");
    AddByTable(
        *this, fn,
        {g.maxX, g.minX, g.maxY, g.minY, g.factor, static_cast<double>(kPhaseSteps), g.mask, g.cosTable, g.sinTable}, x,
        y, z, amp, phase, window);
    return *this;
}

// -------------------------------------------------------------------------------------------------- recurrence family

void Lumora::InitSphericalWaveRF(double angleX, double angleY)
{
    const double lambda = GetWavelength();
    GlobalTable& g = globalTable;
    // A sum beyond 1 leaves a limit that is not a number.
    g.maxX = std::asin(std::sin(angleX) + lambda / (2.0 * px_));
    g.minX = std::asin(std::sin(angleX) - lambda / (2.0 * px_));
    g.maxY = std::asin(std::sin(angleY) + lambda / (2.0 * py_));
    g.minY = std::asin(std::sin(angleY) - lambda / (2.0 * py_));
    g.Fill(lambda);
}

Lumora& Lumora::AddSphericalWaveRF(double x, double y, double z, double amp, double phase, WindowFunc window)
{
    static constexpr char fn[] = "LumoraLib::Lumora::AddSphericalWaveRF";
    const GlobalTable& g = RequireTable(form_, fn, "InitSphericalWaveRF() must be prior to this function");
    RequireWindow(window == WINDOW_NONE || window == WINDOW_RECT, fn);
    RequireSamples(fn);

    // Kept: coordinates are local, the origin is not subtracted. x is moved to a sample only to find the column from
    // where the row runs out, y is not moved at all.
    const double P = px_;
    const std::int32_t column = NearestSample(x, P);
    const double xs = column * P;
    // Kept: no case for the sign of z. With a negative z the two limits of an axis change places, which leaves no
    // sample inside a window, and the amplitude is negative.
    const bool whole = window == WINDOW_NONE;
    const PointPatch p = PatchOf(
        *this, whole ? Range{0, nx_} : BandBetween(std::tan(g.minX) * z + xs, std::tan(g.maxX) * z + xs, P, nx_),
        whole ? Range{0, ny_} : BandBetween(std::tan(g.minY) * z + y, std::tan(g.maxY) * z + y, py_, ny_));
    CheckSource(fn, *this, z, SamplesOf(p) == 0, true);
    if (p.iHi < 1 || p.jLo >= p.jHi - 1)
        return *this;

    RecurrenceWave w{};
    const std::int64_t start = std::int64_t{column} + nx_ / 2;
    double e = xs - x;
    if (start < 0)
        e = -(nx_ / 2) * P - x;
    else if (start >= nx_)
        e = (nx_ - nx_ / 2) * P - x;
    // Kept: a row runs out from the source's own column, also where the band of a tilted reference wave lies to one
    // side of it: the samples between source and band are computed too.
    w.right = start < nx_;
    w.left = start >= 0;
    w.start = Clamp(start, nx_);
    w.y = y;
    w.right2 = e * e + z * z;
    w.rightStep = (e + 0.5 * P) * P;
    w.left2 = (e - P) * (e - P) + z * z;
    w.leftStep = (0.5 * P + P - e) * P;
    w.growth = P * P;
    w.factor = g.factor;
    w.offset = phase * 0.5 / detail::kPi * kPhaseSteps;
    w.amp = amp / z;
    w.cosTable = g.cosTable;
    w.sinTable = g.sinTable;
    w.mask = g.mask;
    const std::int64_t reached = (std::max(p.iHi, w.start) - std::min(p.iLo, w.start)) * std::int64_t{p.jHi - p.jLo};
    (!StepByStep() && reached >= kWideFrom ? WidePoints().recurrence : RecurrenceLoop)(p, w);
    return *this;
}
} // namespace LumoraLib
