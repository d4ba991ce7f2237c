// Point clouds in files: what kind a file is, clouds as text, and where the points come to stand.
//
// A file is read once, front to back; nothing is asked memory for that the file's length does not stand behind.
#include "files/CloudFile.h"
#include "base/Constants.h"

#include "base/WithMemory.h"
#include "files/CloudPly.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace LumoraLib
{
namespace detail
{
namespace
{
constexpr char fnLoad[] = "LumoraLib::LoadPointCloud";

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

/// A comment, a line without anything, or headings in the first line.
bool IsNoPoint(std::string_view line, bool first)
{
    const std::string_view word = Words(line).Next();
    if (word.empty() || word[0] == '#' || word[0] == '%' || word.substr(0, 2) == "//")
        return true;
    double ignored;
    const bool letter = (word[0] >= 'a' && word[0] <= 'z') || (word[0] >= 'A' && word[0] <= 'Z') || word[0] == '"';
    return first && letter && !ParseNumber(word.substr(0, word.find_first_of(",;")), ignored);
}

/// Values of a line, at most 5; their number, or 0 when the line is anything else.
int ParseValues(std::string_view line, double (&value)[5])
{
    int count = 0;
    std::size_t at = 0;
    const auto skipBlanks = [&]
    {
        while (at < line.size() && IsBlank(line[at]))
            ++at;
    };
    skipBlanks();
    while (at < line.size())
    {
        const std::size_t begin = at;
        while (at < line.size() && !IsBlank(line[at]) && line[at] != ',' && line[at] != ';')
            ++at;
        if (count == 5 || !ParseNumber(line.substr(begin, at - begin), value[count]))
            return 0;
        ++count;
        skipBlanks();
        if (at < line.size() && (line[at] == ',' || line[at] == ';'))
        {
            ++at;
            skipBlanks();
            if (at == line.size())
                return 0;
        }
    }
    return count;
}

std::vector<CloudPoint> ReadText(CloudStream& stream)
{
    std::vector<CloudPoint> points;
    std::string_view line;
    for (bool first = true; stream.NextLine(line);)
    {
        stream.Tick();
        if (first && line.substr(0, 3) == "\xEF\xBB\xBF") // some editors mark UTF-8 so
            line.remove_prefix(3);
        const bool leaveOut = IsNoPoint(line, first);
        first = first && Words(line).Next().empty();
        if (leaveOut)
            continue;
        double v[5] = {0.0, 0.0, 0.0, 1.0, 0.0};
        if (ParseValues(line, v) < 3)
            stream.FailInLine("expected: x y z [amplitude [phase]]");
        for (const double number : v)
            if (!std::isfinite(number))
                stream.FailInLine("numbers must be finite");
        points.push_back({v[0], v[1], v[2], v[3], v[4]});
    }
    return points;
}

/// Rotation about the axes, in the order x, y, z.
struct Turn
{
    double m[3][3];

    explicit Turn(const Vector& angles)
    {
        const double sx = std::sin(angles.x), cx = std::cos(angles.x);
        const double sy = std::sin(angles.y), cy = std::cos(angles.y);
        const double sz = std::sin(angles.z), cz = std::cos(angles.z);
        const double rows[3][3] = {{cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx},
                                   {sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx},
                                   {-sy, cy * sx, cy * cx}};
        std::copy(&rows[0][0], &rows[0][0] + 9, &m[0][0]);
    }
};

void Place(std::vector<CloudPoint>& points, const CloudLoadOptions& options, const CloudStream& stream)
{
    Vector middle;
    if (options.centre && !points.empty())
    {
        CloudPoint low = points[0];
        CloudPoint high = points[0];
        for (const CloudPoint& p : points)
        {
            low.x = std::min(low.x, p.x), high.x = std::max(high.x, p.x);
            low.y = std::min(low.y, p.y), high.y = std::max(high.y, p.y);
            low.z = std::min(low.z, p.z), high.z = std::max(high.z, p.z);
        }
        middle = Vector(0.5 * low.x + 0.5 * high.x, 0.5 * low.y + 0.5 * high.y, 0.5 * low.z + 0.5 * high.z);
    }
    const Turn turn(options.turn);
    const bool turned = options.turn.x != 0.0 || options.turn.y != 0.0 || options.turn.z != 0.0;
    const double factor = options.unit * options.scale;
    for (CloudPoint& p : points)
    {
        const double x = (p.x - middle.x) * factor;
        const double y = (p.y - middle.y) * factor;
        const double z = (p.z - middle.z) * factor;
        const auto row = [&](int r)
        {
            return turn.m[r][0] * x + turn.m[r][1] * y + turn.m[r][2] * z;
        };
        p.x = (turned ? row(0) : x) + options.position.x;
        p.y = (turned ? row(1) : y) + options.position.y;
        p.z = (turned ? row(2) : z) + options.position.z;
        p.amplitude *= options.amplitude;
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z) || !std::isfinite(p.amplitude))
            stream.Fail("placed points are not finite: unit or scale too large");
    }
}

void RequireOptions(const CloudLoadOptions& o, const CloudStream& stream)
{
    for (const double v : {o.unit, o.scale, o.turn.x, o.turn.y, o.turn.z, o.position.x, o.position.y, o.position.z,
                           o.amplitude, o.density})
        if (!std::isfinite(v))
            stream.Fail(ERR_PARAMETER, "options must be finite");
    if (o.unit <= 0.0 || o.scale == 0.0)
        stream.Fail(ERR_PARAMETER, "unit must be above 0 and scale not 0");
    if (o.density < 0.0 || o.maxPoints < 1)
        stream.Fail(ERR_PARAMETER, "density must not be negative and maxPoints not below 1");
}

std::vector<CloudPoint> Load(CloudStream& stream, const CloudLoadOptions& options)
{
    std::string_view line;
    std::vector<CloudPoint> points;
    if (stream.NextLine(line) && line == "ply")
    {
        CloudMesh mesh = ReadPly(stream, options.density > 0.0);
        Place(mesh.points, options, stream);
        points = options.density > 0.0 ? SampleMesh(mesh, options, stream) : std::move(mesh.points);
        if (points.empty() && !mesh.triangles.empty())
            stream.Fail("no points: the density is too low, or all faces are turned away");
    }
    else
    {
        stream.Rewind();
        points = ReadText(stream);
        if (options.density > 0.0)
            stream.Fail(ERR_PARAMETER, "text has no faces: density must be 0");
        Place(points, options, stream);
    }
    if (points.empty())
        stream.Fail("no points in the file");
    if (options.randomPhase)
    {
        CloudRandom random(~options.seed); // not the sequence that places a mesh's points
        for (CloudPoint& p : points)
            p.phase = random.Uniform() * kTwoPi;
    }
    return points;
}
} // namespace

// ---- CloudStream -------------------------------------------------------------------------------------------------

CloudStream::CloudStream(const char* path, const char* function)
    : path_(path == nullptr ? "" : path), function_(function), file_(path, "rb"),
      progress_(function, file_.IsOpen() ? file_.Length() : 0)
{
    if (!file_.IsOpen())
        Error(ERR_FILE_OPEN, function_, path_);
}

bool CloudStream::NextLine(std::string_view& line)
{
    std::FILE* const in = file_.Get();
    line_.clear();
    bool any = false;
    char part[512];
    // Parts end at a line feed or at the buffer's end; a zero byte stays a character of the line.
    for (;;)
    {
        std::size_t n = 0;
        int c = 0;
        while (n < sizeof part && (c = getc_unlocked(in)) != EOF && c != '\n')
            part[n++] = static_cast<char>(c);
        any = any || n != 0 || c == '\n';
        line_.append(part, n);
        if (c == '\n' || c == EOF)
            break;
    }
    if (std::ferror(in) != 0)
        Fail("cannot be read");
    if (!any)
        return false;
    ++lines_;
    if (!line_.empty() && line_.back() == '\r')
        line_.pop_back();
    line = line_;
    return true;
}

void CloudStream::Read(void* to, std::size_t bytes)
{
    if (!ReadExact(file_, to, bytes))
        Fail("the file is shorter than its head says");
}

void CloudStream::Skip(std::uint64_t bytes)
{
    if (bytes > Remaining())
        Fail("the file is shorter than its head says");
    if (!file_.Seek(file_.Tell() + static_cast<std::int64_t>(bytes)))
        Fail("cannot be read");
}

void CloudStream::Rewind()
{
    lines_ = 0;
    if (!file_.Seek(0))
        Fail("cannot be read");
}

std::uint64_t CloudStream::Remaining()
{
    const std::int64_t length = file_.Length();
    const std::int64_t position = file_.Tell();
    return length < 0 || position < 0 || position > length ? 0 : static_cast<std::uint64_t>(length - position);
}

void CloudStream::Report()
{
    progress_.Step(file_.Tell());
}

void CloudStream::FailAt(const char* item, std::uint64_t number, const char* reason) const
{
    char text[128];
    std::snprintf(text, sizeof text, "%s %llu : %s", item, static_cast<unsigned long long>(number), reason);
    Fail(text);
}

void CloudStream::Fail(ErrorCode code, const char* reason) const
{
    char message[384];
    std::snprintf(message, sizeof message, "%.240s : %s", path_, reason);
    Error(code, function_, message);
}

// ---- Text --------------------------------------------------------------------------------------------------------

std::string_view Words::Next()
{
    std::size_t begin = 0;
    while (begin < rest_.size() && IsBlank(rest_[begin]))
        ++begin;
    std::size_t end = begin;
    while (end < rest_.size() && !IsBlank(rest_[end]))
        ++end;
    const std::string_view word = rest_.substr(begin, end - begin);
    rest_.remove_prefix(end);
    return word;
}

bool ParseNumber(std::string_view word, double& value)
{
    if (word.size() > 1 && word[0] == '+' && word[1] != '-')
        word.remove_prefix(1);
    const char* const end = word.data() + word.size();
    const std::from_chars_result result = std::from_chars(word.data(), end, value);
    return result.ec == std::errc() && result.ptr == end;
}
} // namespace detail

std::vector<CloudPoint> LoadPointCloud(const char* path, const CloudLoadOptions& options)
{
    detail::CloudStream stream(path, detail::fnLoad);
    detail::RequireOptions(options, stream);
    return detail::WithMemory([&] { return detail::Load(stream, options); },
                              [&] { stream.Fail(ERR_MEMORY, "too many points"); });
}
} // namespace LumoraLib
