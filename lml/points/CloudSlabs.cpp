// Clouds by slabs of depth.
#include "points/CloudSlabs.h"
#include "base/Constants.h"

#include "base/Floats.h"
#include "base/Parallel.h"
#include "base/Scratch.h"
#include "points/CloudFft.h"
#include "points/CloudProfile.h"
#include "points/WideCloud.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace LumoraLib::detail
{
namespace
{

// Rows of a plane that a thread fills at a time, at least: a patch that lies across a border is made for both sides.
constexpr std::int64_t kStripRows = 128;
// Points of a strip stand in the order of tiles this wide, so that their patches lie close together.
constexpr std::int64_t kTile = 128;
// Columns fetched at a time: 128 bytes of each row.
constexpr std::size_t kColumns = 16;
// Wide loops may read arrays of squares and weights up to here.
constexpr std::size_t kPiece = 64;

/// A point on its plane.
struct Record
{
    float re, im; ///< amplitude
    float shiftX, shiftY;
    float fractionX, fractionY; ///< between two tables
    std::int32_t nodeX, nodeY;
    std::int32_t x, y; ///< nearest grid sample, from the first of the grid
};

template <class T>
class Room
{
public:
    explicit Room(std::size_t count) : memory_(1, std::max<std::size_t>(count, 1) * sizeof(T)) {}
    T* Get() const { return memory_.As<T>(0); }
    T& operator[](std::size_t n) const { return Get()[n]; }

private:
    Scratch memory_;
};

/// Of points that light nothing.
constexpr std::uint32_t kNone = 0xffffffffu;

/// The points of one slab are order[begin ... end - 1]; its plane lies in the middle of their depths.
struct Slab
{
    std::size_t begin = 0;
    std::size_t end = 0;
    double zMin = 0.0;
    double zMax = 0.0;
    double Plane() const { return 0.5 * (zMin + zMax); }
    /// One point more, or those that another thread has seen; the count stands in `end` until the order is made.
    void Add(double z)
    {
        zMin = end == 0 ? z : std::min(zMin, z);
        zMax = end == 0 ? z : std::max(zMax, z);
        ++end;
    }
    void Join(const Slab& other)
    {
        if (other.end == 0)
            return;
        zMin = end == 0 ? other.zMin : std::min(zMin, other.zMin);
        zMax = end == 0 ? other.zMax : std::max(zMax, other.zMax);
        end += other.end;
    }
};

class SlabRun
{
public:
    SlabRun(const CloudScene& scene, const CloudExtent& extent, const SlabPlan& plan, const CloudSource& source,
            const char* function);
    void Add(Complex* samples);

private:
    void FindSlabs(std::uint32_t* slabOf);
    void MakeSlabs();
    void MakeRecords(const Slab& slab);
    Record RecordOf(const CloudPoint& p, double plane) const;
    void RunPanel(std::size_t first, std::size_t count, Complex* rowsOfPlane, Complex* back);
    void SpreadSlab(const CloudFft& rows, Complex* to, std::size_t width);
    bool SpreadStrip(std::int64_t strip, float* buffer, float* work) const;
    void AddRecord(const Record& r, std::int64_t begin, std::int64_t end, float* buffer, float* work) const;
    void LoadColumns(const CloudFft& columns, int thread, const Complex* from, std::size_t width,
                     std::size_t count) const;
    void GatherSlab(const Slab& slab, const CloudFft& columns, const Complex* from, std::size_t first,
                    std::size_t width, Complex* spectrum);
    void Return(Complex* spectrum, std::size_t first, std::size_t width, Complex* back);
    void AddRows(const Complex* back, Complex* samples);
    float KernelWeight(bool isX, std::int64_t m) const;

    const CloudScene& scene_;
    const CloudExtent& extent_;
    const SlabPlan& plan_;
    const CloudSource& source_;
    const CloudKernels& kernels_;
    const int threads_;
    const double inverse2_; // 1 / lambda^2
    CloudCross cross_;
    CloudProfile profileX_;
    std::optional<CloudProfile> ownY_;
    const CloudProfile& profileY_;
    double perDepth_ = 0.0; // turns per metre of depth difference that the profiles leave out
    std::int64_t stripRows_ = 0;
    std::int64_t strips_ = 0;
    std::int64_t tiles_ = 0;
    std::vector<Slab> slabs_;
    Room<std::uint32_t> order_;
    std::optional<Room<std::uint32_t>> cells_;
    std::optional<Room<Record>> records_;
    std::vector<std::uint32_t> starts_; // of the cells
    std::vector<double> squares_;       // v^2 of the bands in y
    Progress progress_;
};

CloudResponse ResponseOf(const SlabPlan& plan, const CloudCross& cross, double inverse2, bool isX)
{
    const double c = isX ? cross.Vc() : cross.Uc();
    return {isX ? plan.x : plan.y, inverse2 - c * c, cross.W0(), &cross, isX};
}

bool SameAxes(const SlabPlan& plan)
{
    return plan.x.band.end == plan.y.band.end && plan.x.step == plan.y.step && plan.x.period == plan.y.period;
}

/// Units of progress: strips and groups of columns.
std::int64_t WorkOf(const SlabPlan& plan)
{
    const std::int64_t columns = static_cast<std::int64_t>(plan.x.Bands() / kColumns) + 2;
    const std::int64_t strips = static_cast<std::int64_t>(plan.y.count) / kStripRows + 1;
    return plan.panels * plan.planes * strips + (plan.planes + 1) * columns;
}

SlabRun::SlabRun(const CloudScene& scene, const CloudExtent& extent, const SlabPlan& plan, const CloudSource& source,
                 const char* function)
    : scene_(scene), extent_(extent), plan_(plan), source_(source), kernels_(WideClouds()), threads_(GetNumThreads()),
      inverse2_(1.0 / (scene.lambda * scene.lambda)),
      cross_(scene.lambda, -plan.x.band.end, plan.x.band.end, -plan.y.band.end, plan.y.band.end),
      profileX_(ResponseOf(plan, cross_, inverse2_, true), plan, scene.tolerance),
      ownY_(SameAxes(plan) ? std::optional<CloudProfile>()
                           : std::optional<CloudProfile>(std::in_place, ResponseOf(plan, cross_, inverse2_, false),
                                                         plan, scene.tolerance)),
      profileY_(ownY_ ? *ownY_ : profileX_), order_(static_cast<std::size_t>(extent.points)),
      progress_(function, WorkOf(plan))
{
    perDepth_ = cross_.W0() + profileX_.Centre() + profileY_.Centre();
    const std::int64_t half = profileY_.LargestHalf();
    stripRows_ = std::max(kStripRows, (half + 63) / 64 * 64);
    strips_ = (static_cast<std::int64_t>(plan.y.count) + stripRows_ - 1) / stripRows_;
    tiles_ = (static_cast<std::int64_t>(plan.x.count) + kTile - 1) / kTile;
    squares_.assign((plan.y.Bands() + kPiece) / kPiece * kPiece, 0.0);
    for (std::size_t n = 0; n < plan.y.Bands(); ++n)
    {
        const double v = (static_cast<double>(n) - static_cast<double>(plan.y.most)) / plan.y.period;
        squares_[n] = v * v;
    }
    MakeSlabs();
}

// Notes each point's slab, kNone for those whose light arrives nowhere, and the depths of every slab.
void SlabRun::FindSlabs(std::uint32_t* slabOf)
{
    const double last = static_cast<double>(plan_.planes - 1);
    const CloudLimits limits(scene_);
    const std::size_t planes = static_cast<std::size_t>(plan_.planes);
    std::vector<Slab> seen(static_cast<std::size_t>(threads_) * planes);
    ParallelBlocks(static_cast<std::size_t>(source_.count),
                   [&](std::size_t begin, std::size_t end, int thread)
                   {
                       Slab* const slabs = seen.data() + static_cast<std::size_t>(thread) * planes;
                       for (std::size_t n = begin; n < end; ++n)
                       {
                           const CloudPoint p = source_.Local(static_cast<std::int64_t>(n));
                           slabOf[n] = kNone;
                           if (!limits.Reaches(p))
                               continue;
                           const double at = plan_.depth > 0.0 ? (p.z - extent_.zMin) / plan_.depth : 0.0;
                           slabOf[n] = static_cast<std::uint32_t>(std::clamp(at, 0.0, last));
                           slabs[slabOf[n]].Add(p.z);
                       }
                   });
    slabs_.assign(planes, Slab());
    for (std::size_t n = 0; n < seen.size(); ++n)
        slabs_[n % planes].Join(seen[n]);
}

// Sorts the points by slab, in their own order within one.
void SlabRun::MakeSlabs()
{
    const std::size_t count = static_cast<std::size_t>(source_.count);
    const Room<std::uint32_t> slabOf(count);
    FindSlabs(slabOf.Get());
    std::size_t at = 0;
    std::size_t most = 1;
    for (Slab& s : slabs_)
    {
        most = std::max(most, s.end);
        s.begin = at;
        at += s.end;
        s.end = s.begin;
    }
    for (std::size_t n = 0; n < count; ++n)
        if (slabOf[n] != kNone)
            order_[slabs_[slabOf[n]].end++] = static_cast<std::uint32_t>(n);
    cells_.emplace(most);
    records_.emplace(most);
}

Record SlabRun::RecordOf(const CloudPoint& p, double plane) const
{
    Record r;
    const double dz = plane - p.z;
    const CloudFactor a = CloudAmplitude(p, perDepth_ * dz - plane / scene_.lambda);
    r.re = static_cast<float>(a.re);
    r.im = static_cast<float>(a.im);
    const double gx = (p.x - scene_.x.Middle()) / plan_.x.step;
    const double gy = (p.y - scene_.y.Middle()) / plan_.y.step;
    const double cx = std::floor(gx + 0.5);
    const double cy = std::floor(gy + 0.5);
    r.shiftX = static_cast<float>(cx - gx);
    r.shiftY = static_cast<float>(cy - gy);
    r.x = static_cast<std::int32_t>(static_cast<std::int64_t>(cx) - plan_.x.first);
    r.y = static_cast<std::int32_t>(static_cast<std::int64_t>(cy) - plan_.y.first);
    profileX_.Find(dz, r.nodeX, r.fractionX);
    profileY_.Find(dz, r.nodeY, r.fractionY);
    return r;
}

// The slab's points by strip and tile.
void SlabRun::MakeRecords(const Slab& slab)
{
    const std::size_t count = slab.end - slab.begin;
    const auto local = [&](std::size_t n)
    {
        return source_.Local(order_[slab.begin + n]);
    };
    ParallelFlat(
        count,
        [&](std::size_t n)
        {
            const CloudPoint p = local(n);
            const std::int64_t x =
                static_cast<std::int64_t>(std::floor((p.x - scene_.x.Middle()) / plan_.x.step + 0.5)) - plan_.x.first;
            const std::int64_t y =
                static_cast<std::int64_t>(std::floor((p.y - scene_.y.Middle()) / plan_.y.step + 0.5)) - plan_.y.first;
            (*cells_)[n] = static_cast<std::uint32_t>(y / stripRows_ * tiles_ + x / kTile);
        });
    starts_.assign(static_cast<std::size_t>(strips_ * tiles_) + 1, 0);
    for (std::size_t n = 0; n < count; ++n)
        ++starts_[(*cells_)[n] + 1];
    for (std::size_t c = 1; c < starts_.size(); ++c)
        starts_[c] += starts_[c - 1];
    std::vector<std::uint32_t> next(starts_.begin(), starts_.end() - 1);
    for (std::size_t n = 0; n < count; ++n)
        (*cells_)[n] = next[(*cells_)[n]]++;
    const double plane = slab.Plane();
    ParallelFlat(count, [&](std::size_t n) { (*records_)[(*cells_)[n]] = RecordOf(local(n), plane); });
}

// ---------------------------------------------------------------------------------------------------------- points

void SlabRun::AddRecord(const Record& r, std::int64_t begin, std::int64_t end, float* buffer, float* work) const
{
    const int halfX = profileX_.Half(r.nodeX);
    const int halfY = profileY_.Half(r.nodeY);
    const std::int64_t first = std::max<std::int64_t>(r.y - halfY, begin);
    const std::int64_t last = std::min<std::int64_t>(r.y + halfY, end);
    if (first >= last)
        return;
    const std::size_t row = 4 * static_cast<std::size_t>(profileX_.LargestHalf());
    const std::size_t column = 4 * static_cast<std::size_t>(profileY_.LargestHalf());
    const std::size_t terms = static_cast<std::size_t>(plan_.terms);
    float* const x = work;
    float* const y = work + 2 * row * terms;
    const double depth = cross_.Corner() * kTwoPi * profileX_.DepthOf(r.nodeX, r.fractionX);
    double re = static_cast<double>(r.re);
    double im = static_cast<double>(r.im);
    for (int t = 0; t < plan_.terms; ++t)
    {
        float* const at = x + 2 * row * static_cast<std::size_t>(t);
        profileX_.Get(r.nodeX, r.fractionX, r.shiftX, halfX, t, at);
        profileY_.Get(r.nodeY, r.fractionY, r.shiftY, halfY, t, y + column * static_cast<std::size_t>(t));
        kernels_.turnRow(at, row, 2 * static_cast<std::size_t>(halfX), static_cast<float>(re), static_cast<float>(im));
        // The next coefficient of the exponential series.
        const double scale = depth / (t + 1);
        const double turned = -im * scale;
        im = re * scale;
        re = turned;
    }
    CloudOuter o;
    o.stride = 2 * static_cast<std::ptrdiff_t>(plan_.x.count);
    o.patch = buffer + (first - begin) * o.stride + 2 * static_cast<std::ptrdiff_t>(r.x - halfX);
    o.width = 2 * static_cast<std::size_t>(halfX);
    o.height = static_cast<std::size_t>(last - first);
    o.x = x;
    o.xStride = 2 * row;
    o.xTimesI = row;
    o.y = y + 2 * (first - (r.y - halfY));
    o.yStride = column;
    o.terms = terms;
    kernels_.spread(o);
}

// False where the strip stays empty.
bool SlabRun::SpreadStrip(std::int64_t strip, float* buffer, float* work) const
{
    const std::int64_t begin = strip * stripRows_;
    const std::int64_t end = std::min(begin + stripRows_, static_cast<std::int64_t>(plan_.y.count));
    // No patch is higher than a strip on either side.
    const std::size_t from = static_cast<std::size_t>(std::max<std::int64_t>(strip - 1, 0) * tiles_);
    const std::size_t to = static_cast<std::size_t>(std::min(strip + 2, strips_) * tiles_);
    if (starts_[from] == starts_[to])
        return false;
    std::memset(static_cast<void*>(buffer), 0, static_cast<std::size_t>(end - begin) * plan_.x.count * sizeof(Complex));
    for (std::size_t n = starts_[from]; n < starts_[to]; ++n)
        AddRecord((*records_)[n], begin, end, buffer, work);
    return true;
}

void SlabRun::SpreadSlab(const CloudFft& rows, Complex* to, std::size_t width)
{
    const std::size_t terms = static_cast<std::size_t>(plan_.terms);
    const std::size_t work = terms * (8 * static_cast<std::size_t>(profileX_.LargestHalf()) +
                                      4 * static_cast<std::size_t>(profileY_.LargestHalf()));
    const std::size_t grid = plan_.x.count;
    const Scratch buffers(threads_, static_cast<std::size_t>(stripRows_) * grid * sizeof(Complex));
    const Scratch works(threads_, work * sizeof(float));
    std::atomic<std::int64_t> next{0};
    ParallelTeam(threads_,
                 [&](int thread, int)
                 {
                     for (std::int64_t s = next.fetch_add(1); s < strips_; s = next.fetch_add(1))
                     {
                         const bool filled = SpreadStrip(s, buffers.As<float>(thread), works.As<float>(thread));
                         const std::size_t begin = static_cast<std::size_t>(s * stripRows_);
                         const std::size_t end = std::min(begin + static_cast<std::size_t>(stripRows_), plan_.y.count);
                         for (std::size_t j = begin; j < end; ++j)
                         {
                             Complex* const row = to + j * width;
                             if (!filled)
                             {
                                 std::memset(static_cast<void*>(row), 0, width * sizeof(Complex));
                                 continue;
                             }
                             rows.Load(thread, 0, buffers.As<Complex>(thread) + (j - begin) * grid);
                             rows.Run(thread, 0, row);
                         }
                         if (progress_.Advance(thread, 1))
                             return;
                     }
                 });
    progress_.Check();
}

// ---------------------------------------------------------------------------------------------------------- planes

/// `count` columns of the plane's rows to the rows of a transform.
void SlabRun::LoadColumns(const CloudFft& columns, int thread, const Complex* from, std::size_t width,
                          std::size_t count) const
{
    constexpr std::size_t kAhead = 24;
    const std::uint32_t* const places = columns.Places();
    const std::size_t stride = columns.RowStride();
    Complex* const base = columns.Row(thread, 0);
    for (std::size_t j = 0; j < plan_.y.count; ++j)
    {
        const Complex* const row = from + j * width;
        if (j + kAhead < plan_.y.count)
        {
            __builtin_prefetch(row + kAhead * width);
            __builtin_prefetch(row + kAhead * width + count - 1);
        }
        Complex* const to = base + places[j];
        for (std::size_t c = 0; c < count; ++c)
            to[c * stride] = row[c];
    }
}

void SlabRun::GatherSlab(const Slab& slab, const CloudFft& columns, const Complex* from, std::size_t first,
                         std::size_t width, Complex* spectrum)
{
    const std::size_t bands = plan_.y.Bands();
    const double far = std::max(std::abs(slab.zMin), std::abs(slab.zMax));
    const CloudBand bandX = CloudPlaneBand(scene_, plan_.x, scene_.x, plan_.y.band.end, far);
    const CloudBand bandY = CloudPlaneBand(scene_, plan_.y, scene_.y, plan_.x.band.end, far);
    std::vector<float> weights((bands + kPiece) / kPiece * kPiece, 0.0f);
    for (std::size_t n = 0; n < bands; ++n)
        weights[n] = static_cast<float>(CloudEdge(std::sqrt(squares_[n]), bandY));
    const Scratch temporary(threads_, bands * sizeof(Complex));
    const std::size_t groups = (width + kColumns - 1) / kColumns;
    std::atomic<std::size_t> next{0};
    ParallelTeam(threads_,
                 [&](int thread, int)
                 {
                     Complex* const out = temporary.As<Complex>(thread);
                     for (std::size_t g = next.fetch_add(1); g < groups; g = next.fetch_add(1))
                     {
                         const std::size_t begin = g * kColumns;
                         const std::size_t count = std::min(kColumns, width - begin);
                         const auto frequency = [&](std::size_t c)
                         {
                             const std::int64_t m = static_cast<std::int64_t>(first + begin + c) - plan_.x.most;
                             return static_cast<double>(m) / plan_.x.period;
                         };
                         if (std::min(std::abs(frequency(0)), std::abs(frequency(count - 1))) >= bandX.end &&
                             frequency(0) * frequency(count - 1) > 0.0)
                             continue;
                         LoadColumns(columns, thread, from + begin, width, count);
                         for (std::size_t c = 0; c < count; ++c)
                         {
                             const double u = frequency(c);
                             const double weight = CloudEdge(u, bandX);
                             if (weight == 0.0)
                                 continue;
                             columns.Run(thread, static_cast<int>(c), out);
                             CloudTurn t;
                             t.spectrum = Floats(spectrum + (begin + c) * bands);
                             t.in = Floats(out);
                             t.count = bands;
                             t.square = inverse2_ - u * u;
                             t.squares = squares_.data();
                             t.offset = 1.0 / scene_.lambda;
                             t.distance = -slab.Plane();
                             t.weight = static_cast<float>(weight);
                             t.weights = weights.data();
                             kernels_.turn(t);
                         }
                         if (progress_.Advance(thread, 1))
                             return;
                     }
                 });
    progress_.Check();
}

float SlabRun::KernelWeight(bool isX, std::int64_t m) const
{
    const SlabAxis& axis = isX ? plan_.x : plan_.y;
    return static_cast<float>(1.0 / ((isX ? profileX_ : profileY_).Kernel(m) * axis.period));
}

// From the spectrum of a panel's columns to the rows of samples, still in frequencies along x.
void SlabRun::Return(Complex* spectrum, std::size_t first, std::size_t width, Complex* back)
{
    const std::size_t bands = plan_.y.Bands();
    const std::size_t bandsX = plan_.x.Bands();
    const std::size_t rows = static_cast<std::size_t>(scene_.y.count);
    const CloudFft columns({plan_.y.output, 1, -plan_.y.most, bands, -(scene_.y.count / 2), rows}, 1, threads_);
    std::vector<float> weights((bands + kPiece) / kPiece * kPiece, 0.0f);
    for (std::size_t n = 0; n < bands; ++n)
        weights[n] = KernelWeight(false, static_cast<std::int64_t>(n) - plan_.y.most);
    const Scratch temporary(threads_, kColumns * rows * sizeof(Complex));
    const std::size_t groups = (width + kColumns - 1) / kColumns;
    std::atomic<std::size_t> next{0};
    ParallelTeam(threads_,
                 [&](int thread, int)
                 {
                     Complex* const out = temporary.As<Complex>(thread);
                     for (std::size_t g = next.fetch_add(1); g < groups; g = next.fetch_add(1))
                     {
                         const std::size_t begin = g * kColumns;
                         const std::size_t count = std::min(kColumns, width - begin);
                         for (std::size_t c = 0; c < count; ++c)
                         {
                             const std::int64_t m = static_cast<std::int64_t>(first + begin + c) - plan_.x.most;
                             const double u = static_cast<double>(m) / plan_.x.period;
                             CloudTurn t{};
                             t.spectrum = Floats(spectrum + (begin + c) * bands);
                             t.count = bands;
                             t.square = inverse2_ - u * u;
                             t.squares = squares_.data();
                             t.weight = KernelWeight(true, m);
                             t.weights = weights.data();
                             kernels_.weigh(t);
                             columns.Load(thread, 0, spectrum + (begin + c) * bands);
                             columns.Run(thread, 0, out + c * rows);
                         }
                         for (std::size_t j = 0; j < rows; ++j)
                             for (std::size_t c = 0; c < count; ++c)
                                 back[j * bandsX + first + begin + c] = out[c * rows + j];
                         if (progress_.Advance(thread, 1))
                             return;
                     }
                 });
    progress_.Check();
}

void SlabRun::AddRows(const Complex* back, Complex* samples)
{
    const std::size_t bands = plan_.x.Bands();
    const std::size_t count = static_cast<std::size_t>(scene_.x.count);
    const CloudFft rows({plan_.x.output, 1, -plan_.x.most, bands, -(scene_.x.count / 2), count}, 1, threads_);
    const Scratch temporary(threads_, count * sizeof(Complex));
    ParallelBlocks(static_cast<std::size_t>(scene_.y.count),
                   [&](std::size_t begin, std::size_t end, int thread)
                   {
                       Complex* const out = temporary.As<Complex>(thread);
                       for (std::size_t j = begin; j < end; ++j)
                       {
                           rows.Load(thread, 0, back + j * bands);
                           rows.Run(thread, 0, out);
                           float* const to = Floats(samples + j * count);
                           const float* const from = Floats(out);
                           for (std::size_t i = 0; i < 2 * count; ++i)
                               to[i] += from[i];
                       }
                   });
}

void SlabRun::RunPanel(std::size_t first, std::size_t count, Complex* rowsOfPlane, Complex* back)
{
    const std::size_t bands = plan_.y.Bands();
    const Room<Complex> spectrum(bands * count);
    ParallelFlat(count, [&](std::size_t c)
                 { std::memset(static_cast<void*>(spectrum.Get() + c * bands), 0, bands * sizeof(Complex)); });
    const CloudFft rows(
        {plan_.x.grid, -1, plan_.x.first, plan_.x.count, static_cast<std::int64_t>(first) - plan_.x.most, count}, 1,
        threads_);
    const CloudFft columns({plan_.y.grid, -1, plan_.y.first, plan_.y.count, -plan_.y.most, bands},
                           static_cast<int>(kColumns), threads_);
    for (const Slab& slab : slabs_)
    {
        if (slab.begin == slab.end)
            continue;
        MakeRecords(slab);
        SpreadSlab(rows, rowsOfPlane, count);
        GatherSlab(slab, columns, rowsOfPlane, first, count, spectrum.Get());
    }
    Return(spectrum.Get(), first, count, back);
}

// In one panel the rows of the planes, no longer needed then, make room for the way back.
void SlabRun::Add(Complex* samples)
{
    const std::size_t bands = plan_.x.Bands();
    const std::size_t panels = static_cast<std::size_t>(plan_.panels);
    const std::size_t panel = (bands + panels - 1) / panels;
    const std::size_t returned = bands * static_cast<std::size_t>(scene_.y.count);
    const Room<Complex> rows(std::max(plan_.y.count * panel, panels == 1 ? returned : 0));
    const std::optional<Room<Complex>> own(panels == 1 ? std::optional<Room<Complex>>()
                                                       : std::optional<Room<Complex>>(std::in_place, returned));
    Complex* const back = own ? own->Get() : rows.Get();
    progress_.Step(0);
    for (std::size_t p = 0; p < panels; ++p)
    {
        const Block block = BlockOf(bands, static_cast<int>(p), static_cast<int>(panels));
        RunPanel(block.begin, block.end - block.begin, rows.Get(), back);
    }
    AddRows(back, samples);
}
} // namespace

void AddCloudSlabs(const CloudScene& scene, const CloudExtent& extent, const SlabPlan& plan, const CloudSource& source,
                   Complex* samples, const char* function)
{
    SlabRun(scene, extent, plan, source, function).Add(samples);
}
} // namespace LumoraLib::detail
