// Clouds by direct sums on blocks of samples.
#include "points/CloudDirect.h"
#include "base/Constants.h"

#include "base/Floats.h"
#include "base/Parallel.h"
#include "base/Scratch.h"
#include "points/WideCloud.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace LumoraLib::detail
{
namespace
{

/// Transforms of one thread, by length and by number of rows; the lengths between the shortest and the longest that any
/// block takes.
class Transforms
{
public:
    Transforms(Complex* memory, std::size_t shortest, std::size_t longest) : memory_(memory), shortest_(shortest)
    {
        // One scratch serves them all.
        scratch_ = std::make_unique<Scratch>(1, 16 * sizeof(float) * longest + kSpare);
        for (std::size_t n = longest; n >= shortest; n /= 2)
            for (int rows = kCloudTerms; rows > 0; --rows)
            {
                const WideRows job = {.source = {.samples = memory, .stride = n, .range = {0, n}},
                                      .target = {.samples = memory, .stride = n, .range = {0, n}},
                                      .rows = static_cast<std::size_t>(rows),
                                      .n = n,
                                      .sign = 1};
                passes_.push_back(std::make_unique<WideRowPass>(job, 1, scratch_.get()));
            }
        lengths_ = passes_.size() / kCloudTerms;
    }
    /// `rows` rows of n samples from the start of the memory.
    void Run(std::size_t n, int rows) const noexcept
    {
        std::size_t at = lengths_ - 1;
        for (std::size_t length = shortest_; length < n; length *= 2)
            --at;
        passes_[at * kCloudTerms + static_cast<std::size_t>(kCloudTerms - rows)]->Part(0, 1);
    }
    Complex* Memory() const { return memory_; }

private:
    static constexpr std::size_t kSpare = 65536;

    Complex* memory_;
    std::size_t shortest_;
    std::size_t lengths_ = 0;
    std::unique_ptr<Scratch> scratch_; ///< lent to all passes
    std::vector<std::unique_ptr<WideRowPass>> passes_;
};

/// One axis of a block, seen from a point.
struct BlockAxis
{
    const CloudAxis* axis;
    DirectAxis span;
    std::int64_t first;
    std::size_t count;
    double from[2]; ///< first and last sample against the point
};

/// What a thread works with.
struct Desk
{
    std::unique_ptr<Transforms> transforms;
    float* spectrum; // pairs
    float* factor;
    float* weight;
    float* rows;    // kDirectTerms rows of the block's width, each with itself times i behind it
    float* columns; // kDirectTerms columns
    Complex* block; // samples
};

class DirectRun
{
public:
    DirectRun(const CloudScene& scene, const CloudExtent& extent, const DirectPlan& plan, const CloudSource& source);
    void Add(Complex* samples, const char* function);

private:
    void MakeLengths(const CloudExtent& extent);
    void MakeDesks();
    void MakeLists(const CloudExtent& extent);
    BlockAxis AxisOf(const CloudAxis& axis, std::int64_t block, std::int64_t side) const;
    void RunBlock(std::size_t index, const Desk& desk, Complex* out) const;
    void AddBlock(std::size_t index, const Complex* block, Complex* samples) const;
    void AddPoint(const CloudPoint& p, BlockAxis& x, BlockAxis& y, const Desk& desk, std::size_t& terms,
                  Complex* out) const;
    void Flush(const Desk& desk, std::size_t height, std::size_t terms, Complex* out) const;
    void MakeWeights(const DirectAxis& s, std::int64_t first, std::size_t count, double step, float* weight) const;
    void MakeAxis(const BlockAxis& a, const CloudCross& cross, bool isX, double z, int terms, const Desk& desk,
                  float* out, std::size_t stride) const;

    const CloudScene& scene_;
    const DirectPlan& plan_;
    const CloudSource& source_;
    const CloudKernels& kernels_;
    const int threads_;
    const std::size_t stride_; // samples of a row of a block
    Scratch memory_;
    std::size_t shortest_ = 16;
    std::size_t longest_ = 16;
    std::vector<Desk> desks_;
    std::int64_t across_ = 0;         // blocks in a row of blocks
    std::vector<CloudPoint> points_;  // those that light samples, local
    std::vector<std::size_t> lit_;    // blocks with light
    std::vector<std::size_t> starts_; // of their points in list_
    std::vector<std::uint32_t> list_;
    std::vector<float> edge_; // of the band, over its soft part
};

constexpr std::size_t kEdgeSteps = 4096;

std::size_t Padded(std::size_t n)
{
    return (n + 7) / 8 * 8;
}

DirectRun::DirectRun(const CloudScene& scene, const CloudExtent& extent, const DirectPlan& plan,
                     const CloudSource& source)
    : scene_(scene), plan_(plan), source_(source), kernels_(WideClouds()), threads_(GetNumThreads()),
      stride_(Padded(static_cast<std::size_t>(plan.blockX))),
      memory_(threads_, DirectFloats(plan.blockX, plan.blockY) * sizeof(float))
{
    MakeLengths(extent);
    MakeDesks();
    MakeLists(extent);
    edge_.resize(kEdgeSteps + 2);
    for (std::size_t n = 0; n < edge_.size(); ++n)
        edge_[n] = static_cast<float>(CloudEdge(static_cast<double>(n) / kEdgeSteps, {0.0, 1.0}));
}

// Bounds of the transforms' lengths by the farthest point.
void DirectRun::MakeLengths(const CloudExtent& extent)
{
    const double far = std::max(std::abs(extent.zMin), std::abs(extent.zMax));
    const auto bound = [&](const CloudAxis& axis, std::int64_t block)
    {
        return static_cast<double>(block) + 4.0 +
               (CloudReach(scene_, axis, far) + CloudTail(scene_, axis) + CloudFringe(scene_, far)) * 2.0 / axis.pitch;
    };
    const double most = std::max(bound(scene_.x, plan_.blockX), bound(scene_.y, plan_.blockY));
    while (longest_ < kDirectLength && static_cast<double>(longest_) < most)
        longest_ *= 2;
    while (shortest_ < longest_ && shortest_ < static_cast<std::size_t>(std::min(plan_.blockX, plan_.blockY)))
        shortest_ *= 2;
}

// The points of every block that light may reach.
void DirectRun::MakeLists(const CloudExtent& extent)
{
    const CloudLimits limits(scene_);
    points_.reserve(static_cast<std::size_t>(extent.points));
    for (std::int64_t n = 0; n < source_.count; ++n)
    {
        const CloudPoint p = source_.Local(n);
        if (limits.Reaches(p))
            points_.push_back(p);
    }
    across_ = (scene_.x.count + plan_.blockX - 1) / plan_.blockX;
    const std::int64_t down = (scene_.y.count + plan_.blockY - 1) / plan_.blockY;
    const auto range = [&](const CloudAxis& axis, std::int64_t block, std::int64_t blocks, double c, double z,
                           std::int64_t& lo, std::int64_t& hi)
    {
        const double reach = CloudReach(scene_, axis, z) + CloudTail(scene_, axis);
        const double size = static_cast<double>(block) * axis.pitch;
        const double last = static_cast<double>(blocks - 1);
        lo = static_cast<std::int64_t>(std::clamp(std::floor((c - reach - axis.first) / size), 0.0, last));
        hi = static_cast<std::int64_t>(std::clamp(std::floor((c + reach - axis.first) / size), 0.0, last));
    };
    const auto each = [&](const auto& visit)
    {
        for (std::size_t n = 0; n < points_.size(); ++n)
        {
            std::int64_t i0, i1, j0, j1;
            range(scene_.x, plan_.blockX, across_, points_[n].x, points_[n].z, i0, i1);
            range(scene_.y, plan_.blockY, down, points_[n].y, points_[n].z, j0, j1);
            for (std::int64_t j = j0; j <= j1; ++j)
                for (std::int64_t i = i0; i <= i1; ++i)
                    visit(static_cast<std::size_t>(j * across_ + i), static_cast<std::uint32_t>(n));
        }
    };
    std::vector<std::size_t> next(static_cast<std::size_t>(across_ * down), 0);
    each([&](std::size_t block, std::uint32_t) { ++next[block]; });
    starts_.assign(1, 0);
    for (std::size_t block = 0; block < next.size(); ++block)
    {
        if (next[block] == 0)
            continue;
        const std::size_t start = starts_.back();
        lit_.push_back(block);
        starts_.push_back(start + next[block]);
        next[block] = start;
    }
    list_.resize(starts_.back());
    each([&](std::size_t block, std::uint32_t n) { list_[next[block]++] = n; });
}

void DirectRun::MakeDesks()
{
    const std::size_t height = static_cast<std::size_t>(plan_.blockY);
    for (int t = 0; t < threads_; ++t)
    {
        Desk b;
        float* at = memory_.As<float>(t);
        const auto take = [&at](std::size_t floats)
        {
            float* const p = at;
            at += (floats + 15) / 16 * 16;
            return p;
        };
        Complex* const transforms = reinterpret_cast<Complex*>(take(2 * kCloudTerms * kDirectLength));
        b.spectrum = take(2 * kDirectLength);
        b.factor = take(kDirectLength);
        b.weight = take(kDirectLength);
        b.rows = take(kDirectTerms * 4 * stride_);
        b.columns = take(kDirectTerms * 2 * height);
        b.block = reinterpret_cast<Complex*>(take(2 * stride_ * height));
        b.transforms = std::make_unique<Transforms>(transforms, shortest_, longest_);
        desks_.push_back(std::move(b));
    }
}

// The band's edge, and the softer one around what reaches the block.
void DirectRun::MakeWeights(const DirectAxis& s, std::int64_t first, std::size_t count, double step,
                            float* weight) const
{
    const auto falling = [&](double u, double flat, double end)
    {
        if (u <= flat)
            return 1.0f;
        if (u >= end)
            return 0.0f;
        const double at = (u - flat) / (end - flat) * kEdgeSteps;
        const std::size_t n = static_cast<std::size_t>(at);
        const float part = static_cast<float>(at - static_cast<double>(n));
        return edge_[n] + part * (edge_[n + 1] - edge_[n]);
    };
    for (std::size_t n = 0; n < count; ++n)
    {
        const double u = static_cast<double>(first + static_cast<std::int64_t>(n)) * step;
        float w = falling(std::abs(u), s.band.flat, s.band.end);
        if (s.hiEnd < s.band.end)
            w *= falling(u, s.hi, s.hiEnd);
        if (s.loEnd > -s.band.end)
            w *= falling(-u, -s.lo, -s.loEnd);
        weight[n] = w;
    }
}

// The factors of all terms on one axis: the spectrum at the point's depth, times powers of the expansion's function,
// transformed to the block's samples.
void DirectRun::MakeAxis(const BlockAxis& a, const CloudCross& cross, bool isX, double z, int terms, const Desk& desk,
                         float* out, std::size_t stride) const
{
    const std::size_t n = a.span.length;
    const double step = 1.0 / (static_cast<double>(n) * a.axis->pitch);
    const std::int64_t first = static_cast<std::int64_t>(std::ceil(a.span.loEnd / step));
    const std::int64_t last = static_cast<std::int64_t>(std::floor(a.span.hiEnd / step));
    const std::size_t count =
        static_cast<std::size_t>(std::clamp<std::int64_t>(last - first + 1, 0, static_cast<std::int64_t>(n)));
    MakeWeights(a.span, first, count, step, desk.weight);
    const double inverse2 = 1.0 / (scene_.lambda * scene_.lambda);
    const double c = isX ? cross.Vc() : cross.Uc();
    const double e = isX ? cross.Ve() : cross.Ue();
    const double other = isX ? cross.Uc() : cross.Vc();
    CloudPhases p;
    p.first = first;
    p.count = count;
    p.step = step;
    p.square0 = inverse2 - c * c;
    p.offset0 = cross.W0();
    p.square1 = inverse2 - e * e;
    p.offset1 = cross.W(isX ? other : e, isX ? e : other);
    p.distance = -z;
    p.shift = a.from[0];
    p.scale = cross.Scale();
    p.weight = desk.weight;
    p.out = desk.spectrum;
    p.factor = desk.factor;
    kernels_.phases(p);
    Complex* const rows = desk.transforms->Memory();
    const std::size_t at = static_cast<std::size_t>(first & static_cast<std::int64_t>(n - 1));
    const std::size_t head = std::min(count, n - at);
    for (int t = 0; t < terms; ++t)
    {
        Complex* const row = rows + static_cast<std::size_t>(t) * n;
        if (t > 0)
            kernels_.scale(desk.spectrum, desk.factor, count);
        const Complex* const spectrum = reinterpret_cast<const Complex*>(desk.spectrum);
        std::memset(static_cast<void*>(row), 0, n * sizeof(Complex));
        std::memcpy(static_cast<void*>(row + at), spectrum, head * sizeof(Complex));
        std::memcpy(static_cast<void*>(row), spectrum + head, (count - head) * sizeof(Complex));
    }
    desk.transforms->Run(n, terms);
    for (int t = 0; t < terms; ++t)
        std::memcpy(out + static_cast<std::size_t>(t) * stride, rows + static_cast<std::size_t>(t) * n,
                    a.count * sizeof(Complex));
}

void DirectRun::AddPoint(const CloudPoint& p, BlockAxis& x, BlockAxis& y, const Desk& desk, std::size_t& terms,
                         Complex* out) const
{
    const auto place = [](BlockAxis& a, double c)
    {
        a.from[0] = a.axis->first + static_cast<double>(a.first) * a.axis->pitch - c;
        a.from[1] = a.from[0] + static_cast<double>(a.count - 1) * a.axis->pitch;
    };
    place(x, p.x);
    place(y, p.y);
    if (!DirectSpan(scene_, x.from, y.from, p.z, x.span, y.span))
        return;
    const CloudCross cross(scene_.lambda, x.span.loEnd, x.span.hiEnd, y.span.loEnd, y.span.hiEnd);
    int count = DirectTerms(scene_, cross, p.z);
    // The plan looked at some of the points; the others take what there is.
    count = count == 0 ? kCloudTerms : count;
    x.span.length = std::clamp(x.span.length, shortest_, longest_);
    y.span.length = std::clamp(y.span.length, shortest_, longest_);
    if (terms + static_cast<std::size_t>(count) > kDirectTerms)
    {
        Flush(desk, y.count, terms, out);
        terms = 0;
    }
    float* const rows = desk.rows + terms * 4 * stride_;
    const std::size_t columnStride = 2 * static_cast<std::size_t>(plan_.blockY);
    MakeAxis(x, cross, true, p.z, count, desk, rows, 4 * stride_);
    MakeAxis(y, cross, false, p.z, count, desk, desk.columns + terms * columnStride, columnStride);
    const CloudFactor a = CloudAmplitude(p, -p.z * cross.W0());
    const double du = 1.0 / (static_cast<double>(x.span.length) * scene_.x.pitch);
    const double dv = 1.0 / (static_cast<double>(y.span.length) * scene_.y.pitch);
    double re = a.re * du * dv * cross.W0();
    double im = a.im * du * dv * cross.W0();
    for (int t = 0; t < count; ++t)
    {
        float* const row = rows + static_cast<std::size_t>(t) * 4 * stride_;
        std::memset(static_cast<void*>(row + 2 * x.count), 0, 2 * (stride_ - x.count) * sizeof(float));
        kernels_.turnRow(row, 2 * stride_, stride_, static_cast<float>(re), static_cast<float>(im));
        // (growth - 2 pi i z corner)^t / t!
        const double gr = cross.Growth() / (t + 1);
        const double gi = -kTwoPi * p.z * cross.Corner() / (t + 1);
        const double turned = re * gr - im * gi;
        im = re * gi + im * gr;
        re = turned;
    }
    terms += static_cast<std::size_t>(count);
}

void DirectRun::Flush(const Desk& desk, std::size_t height, std::size_t terms, Complex* out) const
{
    if (terms == 0)
        return;
    CloudOuter o;
    o.patch = Floats(out);
    o.stride = 2 * static_cast<std::ptrdiff_t>(stride_);
    o.width = stride_;
    o.height = height;
    o.x = desk.rows;
    o.xStride = 4 * stride_;
    o.xTimesI = 2 * stride_;
    o.y = desk.columns;
    o.yStride = 2 * static_cast<std::size_t>(plan_.blockY);
    o.terms = terms;
    kernels_.block(o);
}

// The light of lit block `index`, in rows of stride_ samples.
void DirectRun::RunBlock(std::size_t index, const Desk& desk, Complex* out) const
{
    BlockAxis x = AxisOf(scene_.x, static_cast<std::int64_t>(lit_[index]) % across_, plan_.blockX);
    BlockAxis y = AxisOf(scene_.y, static_cast<std::int64_t>(lit_[index]) / across_, plan_.blockY);
    std::memset(static_cast<void*>(out), 0, stride_ * y.count * sizeof(Complex));
    std::size_t terms = 0;
    for (std::size_t n = starts_[index]; n < starts_[index + 1]; ++n)
        AddPoint(points_[list_[n]], x, y, desk, terms, out);
    Flush(desk, y.count, terms, out);
}

BlockAxis DirectRun::AxisOf(const CloudAxis& axis, std::int64_t block, std::int64_t side) const
{
    BlockAxis a{};
    a.axis = &axis;
    a.first = block * side;
    a.count = static_cast<std::size_t>(std::min(side, axis.count - a.first));
    return a;
}

void DirectRun::AddBlock(std::size_t index, const Complex* block, Complex* samples) const
{
    const BlockAxis x = AxisOf(scene_.x, static_cast<std::int64_t>(lit_[index]) % across_, plan_.blockX);
    const BlockAxis y = AxisOf(scene_.y, static_cast<std::int64_t>(lit_[index]) / across_, plan_.blockY);
    for (std::size_t j = 0; j < y.count; ++j)
    {
        const float* const from = Floats(block + j * stride_);
        float* const to = Floats(samples + (y.first + static_cast<std::int64_t>(j)) * scene_.x.count + x.first);
        for (std::size_t n = 0; n < 2 * x.count; ++n)
            to[n] += from[n];
    }
}

// With somebody who may cancel, all blocks are kept until the last is done, so that the samples stay as they are.
void DirectRun::Add(Complex* samples, const char* function)
{
    const std::size_t blocks = lit_.size();
    const std::size_t room = stride_ * static_cast<std::size_t>(plan_.blockY);
    Progress progress(function, static_cast<std::int64_t>(blocks));
    progress.Step(0);
    const bool keep = progress.IsWatched();
    const Scratch kept(1, keep ? blocks * room * sizeof(Complex) : 64);
    std::atomic<std::size_t> next{0};
    ParallelTeam(threads_,
                 [&](int thread, int)
                 {
                     const Desk& desk = desks_[static_cast<std::size_t>(thread)];
                     for (std::size_t b = next.fetch_add(1); b < blocks; b = next.fetch_add(1))
                     {
                         Complex* const out = keep ? kept.As<Complex>(0) + b * room : desk.block;
                         RunBlock(b, desk, out);
                         if (!keep)
                             AddBlock(b, out, samples);
                         else if (progress.Advance(thread, 1))
                             return;
                     }
                 });
    progress.Check();
    if (keep)
        ParallelFlat(blocks, [&](std::size_t b) { AddBlock(b, kept.As<Complex>(0) + b * room, samples); });
}
} // namespace

void AddCloudDirect(const CloudScene& scene, const CloudExtent& extent, const DirectPlan& plan,
                    const CloudSource& source, Complex* samples, const char* function)
{
    DirectRun(scene, extent, plan, source).Add(samples, function);
}
} // namespace LumoraLib::detail
