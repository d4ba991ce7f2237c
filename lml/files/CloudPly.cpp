// Point clouds as PLY: vertices and faces of ascii and binary little-endian files, and the writer.
//
// A head says which elements follow, how many records each has, and of which numbers and lists a record consists. An
// ascii record is a line.
#include "files/CloudPly.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace LumoraLib
{
namespace detail
{
namespace
{
enum class Number
{
    Int8,
    Uint8,
    Int16,
    Uint16,
    Int32,
    Uint32,
    Float32,
    Float64
};
constexpr struct
{
    const char* name;
    const char* otherName;
    std::size_t bytes;
    double full; // what counts as 1 in intensities and colours
} kNumbers[] = {{"char", "int8", 1, 127.0},        {"uchar", "uint8", 1, 255.0},
                {"short", "int16", 2, 32767.0},    {"ushort", "uint16", 2, 65535.0},
                {"int", "int32", 4, 2147483647.0}, {"uint", "uint32", 4, 4294967295.0},
                {"float", "float32", 4, 1.0},      {"double", "float64", 8, 1.0}};
constexpr char kTextShort[] = "the file is shorter than its head says";

std::size_t Bytes(Number type)
{
    return kNumbers[static_cast<int>(type)].bytes;
}
bool IsWhole(Number type)
{
    return type < Number::Float32;
}

struct Property
{
    std::string name;
    Number type;
    std::optional<Number> listSize; // of a list: the type of its length
};

struct Element
{
    std::string name;
    std::uint64_t count;
    std::vector<Property> properties;

    /// Index of a property that is a list or is none; -1 where there is no such.
    int Find(std::string_view wanted, bool list) const
    {
        for (std::size_t n = 0; n < properties.size(); ++n)
            if (properties[n].name == wanted && properties[n].listSize.has_value() == list)
                return static_cast<int>(n);
        return -1;
    }
};

struct Head
{
    bool ascii = false;
    std::vector<Element> elements;
};

Number ParseType(const CloudStream& stream, std::string_view word)
{
    for (std::size_t n = 0; n < std::size(kNumbers); ++n)
        if (word == kNumbers[n].name || word == kNumbers[n].otherName)
            return static_cast<Number>(n);
    stream.FailInLine("unknown type of number");
}

Head ReadHead(CloudStream& stream)
{
    Head head;
    bool format = false;
    std::string_view line;
    for (;;)
    {
        if (!stream.NextLine(line))
            stream.Fail("the head has no end");
        Words words(line);
        const std::string_view key = words.Next();
        if (key == "end_header")
            break;
        if (key.empty() || key == "comment" || key == "obj_info")
            continue;
        if (key == "format")
        {
            const std::string_view kind = words.Next();
            head.ascii = kind == "ascii";
            if ((!head.ascii && kind != "binary_little_endian") || words.Next() != "1.0")
                stream.FailInLine("only ascii and binary_little_endian 1.0 can be read");
            format = true;
        }
        else if (key == "element")
        {
            Element element;
            element.name = words.Next();
            double count = -1.0;
            // Up to 2^53: beyond that no file can be.
            if (!ParseNumber(words.Next(), count) || !(count >= 0.0 && count <= 0x1p53) || count != std::floor(count))
                stream.FailInLine("expected: element NAME COUNT");
            element.count = static_cast<std::uint64_t>(count);
            head.elements.push_back(std::move(element));
        }
        else if (key == "property" && !head.elements.empty())
        {
            Property property{};
            std::string_view word = words.Next();
            if (word == "list")
            {
                property.listSize = ParseType(stream, words.Next());
                if (!IsWhole(*property.listSize))
                    stream.FailInLine("the length of a list must be a whole number");
                word = words.Next();
            }
            property.type = ParseType(stream, word);
            property.name = words.Next();
            head.elements.back().properties.push_back(std::move(property));
        }
        else
            stream.FailInLine("not a line of a PLY head");
    }
    if (!format)
        stream.Fail("the head names no format");
    return head;
}

double Decode(const Byte* from, Number type)
{
    switch (type)
    {
    case Number::Int8:
        return detail::Get<std::int8_t>(from);
    case Number::Uint8:
        return detail::Get<std::uint8_t>(from);
    case Number::Int16:
        return detail::Get<std::int16_t>(from);
    case Number::Uint16:
        return detail::Get<std::uint16_t>(from);
    case Number::Int32:
        return detail::Get<std::int32_t>(from);
    case Number::Uint32:
        return detail::Get<std::uint32_t>(from);
    case Number::Float32:
        return static_cast<double>(detail::Get<float>(from));
    case Number::Float64:
        break;
    }
    return detail::Get<double>(from);
}

/// Numbers one after the other, from lines or from bytes.
class Records
{
public:
    Records(CloudStream& stream, bool ascii) : stream_(stream), ascii_(ascii), words_({}) {}

    /// Fails when the file cannot hold an element's records, before memory is asked for them.
    void RequireRoom(const Element& element)
    {
        std::uint64_t least = 0;
        for (const Property& p : element.properties)
            least += ascii_ ? 2 : Bytes(p.listSize.value_or(p.type));
        std::uint64_t all = 0;
        // The last line may lack its end.
        if (!CheckedMul(least, element.count, all) || all > stream_.Remaining() + 1)
            stream_.Fail(kTextShort);
    }
    void Begin()
    {
        stream_.Tick();
        if (!ascii_)
            return;
        std::string_view line;
        do
        {
            if (!stream_.NextLine(line))
                stream_.Fail(kTextShort);
            words_ = Words(line);
        } while (Words(line).Next().empty());
    }
    double Next(Number type)
    {
        if (!ascii_)
        {
            std::array<Byte, 8> raw;
            stream_.Read(raw.data(), Bytes(type));
            return Decode(raw.data(), type);
        }
        double value = 0.0;
        const std::string_view word = words_.Next();
        if (word.empty())
            stream_.FailInLine("values are missing");
        if (!ParseNumber(word, value))
            stream_.FailInLine("a value is no number");
        return value;
    }
    /// The length of a list. A line or a file that is too short for it shows when its values are read.
    std::uint64_t ListSize(const Property& list)
    {
        const double size = Next(*list.listSize);
        if (!(size >= 0.0 && size <= 4294967295.0) || size != std::floor(size))
            stream_.Fail("a list has no valid length");
        const std::uint64_t count = static_cast<std::uint64_t>(size);
        return count;
    }
    void SkipProperty(const Property& property)
    {
        const std::uint64_t count = property.listSize ? ListSize(property) : 1;
        if (!ascii_ && count > 1024)
            stream_.Skip(count * Bytes(property.type));
        else
            for (std::uint64_t n = 0; n < count; ++n)
                Next(property.type);
    }
    void SkipElement(const Element& element)
    {
        if (element.properties.empty() || element.count == 0)
            return;
        RequireRoom(element);
        for (std::uint64_t n = 0; n < element.count; ++n)
        {
            Begin();
            for (const Property& property : element.properties)
                SkipProperty(property);
        }
    }

private:
    CloudStream& stream_;
    bool ascii_;
    Words words_;
};

/// What a vertex is made of: the places of its properties, -1 for those that the file lacks.
struct VertexLayout
{
    int x, y, z, amplitude, phase, intensity, red, green, blue;

    explicit VertexLayout(const Element& e)
        : x(e.Find("x", false)), y(e.Find("y", false)), z(e.Find("z", false)), amplitude(e.Find("amplitude", false)),
          phase(e.Find("phase", false)), intensity(e.Find("intensity", false)), red(e.Find("red", false)),
          green(e.Find("green", false)), blue(e.Find("blue", false))
    {
    }
    bool HasPlace() const { return x >= 0 && y >= 0 && z >= 0; }
    bool HasColour() const { return red >= 0 && green >= 0 && blue >= 0; }
};

std::vector<CloudPoint> ReadVertices(Records& records, CloudStream& stream, const Element& element)
{
    const VertexLayout layout(element);
    if (!layout.HasPlace())
        stream.Fail("vertices have no x, y and z");
    records.RequireRoom(element);
    std::vector<CloudPoint> points;
    points.reserve(static_cast<std::size_t>(element.count));
    std::vector<double> values(element.properties.size());
    for (std::uint64_t n = 0; n < element.count; ++n)
    {
        records.Begin();
        for (std::size_t p = 0; p < values.size(); ++p)
        {
            if (element.properties[p].listSize)
                records.SkipProperty(element.properties[p]);
            else
                values[p] = records.Next(element.properties[p].type);
        }
        const auto at = [&](int p)
        {
            return values[static_cast<std::size_t>(p)];
        };
        // From 0 to 1 where the file counts in whole steps.
        const auto level = [&](int p)
        {
            return at(p) / kNumbers[static_cast<int>(element.properties[static_cast<std::size_t>(p)].type)].full;
        };
        double amplitude = 1.0;
        if (layout.amplitude >= 0)
            amplitude = at(layout.amplitude);
        else if (layout.intensity >= 0)
            amplitude = std::sqrt(std::max(0.0, level(layout.intensity)));
        else if (layout.HasColour())
            amplitude = std::sqrt(
                std::max(0.0, 0.2126 * level(layout.red) + 0.7152 * level(layout.green) + 0.0722 * level(layout.blue)));
        points.push_back(
            {at(layout.x), at(layout.y), at(layout.z), amplitude, layout.phase >= 0 ? at(layout.phase) : 0.0});
        const CloudPoint& p = points.back();
        for (const double v : {p.x, p.y, p.z, p.amplitude, p.phase})
            if (!std::isfinite(v))
                stream.FailAt("vertex", n, "numbers must be finite");
    }
    return points;
}

std::vector<CloudTriangle> ReadFaces(Records& records, CloudStream& stream, const Element& element,
                                     std::uint64_t vertices)
{
    const int corners = std::max(element.Find("vertex_indices", true), element.Find("vertex_index", true));
    if (corners < 0)
        stream.Fail("faces have no list vertex_indices");
    records.RequireRoom(element);
    std::vector<CloudTriangle> triangles;
    const auto index = [&](std::uint64_t face)
    {
        const double v = records.Next(element.properties[static_cast<std::size_t>(corners)].type);
        if (!(v >= 0.0 && v < static_cast<double>(vertices)) || v != std::floor(v))
            stream.FailAt("face", face, "there is no such vertex");
        return static_cast<std::uint32_t>(v);
    };
    for (std::uint64_t n = 0; n < element.count; ++n)
    {
        records.Begin();
        for (std::size_t p = 0; p < element.properties.size(); ++p)
        {
            if (static_cast<int>(p) != corners)
            {
                records.SkipProperty(element.properties[p]);
                continue;
            }
            CloudTriangle triangle{};
            const std::uint64_t count = records.ListSize(element.properties[p]);
            for (std::uint64_t k = 0; k < count; ++k)
            {
                triangle.corner[std::min<std::uint64_t>(k, 2)] = index(n);
                if (k < 2)
                    continue;
                triangles.push_back(triangle);
                triangle.corner[1] = triangle.corner[2];
            }
        }
    }
    return triangles;
}
} // namespace

CloudMesh ReadPly(CloudStream& stream, bool faces)
{
    const Head head = ReadHead(stream);
    const Element* vertices = nullptr;
    const Element* polygons = nullptr;
    for (const Element& element : head.elements)
        for (const auto& [name, found] : {std::pair("vertex", &vertices), std::pair("face", &polygons)})
            if (element.name == name)
            {
                if (*found != nullptr)
                    stream.Fail("an element stands twice in the head");
                *found = &element;
            }
    if (vertices == nullptr)
        stream.Fail("there is no element vertex");
    if (faces && (polygons == nullptr || polygons->count == 0))
        stream.Fail("there are no faces: density must be 0");
    if (vertices->count > std::numeric_limits<std::uint32_t>::max())
        stream.Fail("too many vertices");
    CloudMesh mesh;
    Records records(stream, head.ascii);
    int wanted = faces ? 2 : 1;
    for (const Element& element : head.elements)
    {
        if (&element == vertices)
            mesh.points = ReadVertices(records, stream, element);
        else if (faces && &element == polygons)
            mesh.triangles = ReadFaces(records, stream, element, vertices->count);
        else
        {
            records.SkipElement(element);
            continue;
        }
        if (--wanted == 0)
            break; // what follows does not matter
    }
    return mesh;
}
} // namespace detail

void SavePointCloud(const char* path, const CloudPoint* points, std::size_t count)
{
    static constexpr char fn[] = "LumoraLib::SavePointCloud";
    detail::Progress progress(fn, static_cast<std::int64_t>(count));
    detail::File file(path, "wb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    const auto write = [&](const void* from, std::size_t bytes)
    {
        detail::WriteOr(file, from, bytes, [&] { Error(ERR_FILE_WRITE, fn, path); });
    };
    char head[256];
    const int length = std::snprintf(head, sizeof head,
                                     "ply\nformat binary_little_endian 1.0\nelement vertex %llu\nproperty double x\n"
                                     "property double y\nproperty double z\nproperty double amplitude\n"
                                     "property double phase\nend_header\n",
                                     static_cast<unsigned long long>(count));
    write(head, static_cast<std::size_t>(length));
    static_assert(sizeof(CloudPoint) == 5 * sizeof(double));
    constexpr std::size_t block = 65536;
    for (std::size_t n = 0; n < count; n += block)
    {
        progress.Step(static_cast<std::int64_t>(n));
        write(points + n, std::min(block, count - n) * sizeof(CloudPoint));
    }
    if (!file.CloseChecked())
        Error(ERR_FILE_WRITE, fn, path);
}
} // namespace LumoraLib
