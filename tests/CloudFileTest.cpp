// Point clouds in files: text, PLY of both kinds, meshes sampled by area, placement, and files that are wrong.

#include "files/CloudFile.h"
#include "TestTools.h"

#include <algorithm>
#include <limits>

using namespace lmltest;

namespace
{
constexpr char fnLoad[] = "LumoraLib::LoadPointCloud";

/// A file with the given content.
std::string Write(const std::string& content)
{
    static const std::string path = std::string(LML_SCRATCH_DIR) + "/cloud_file_test";
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

/// What Error makes of a path and a reason: an exception cuts long messages.
std::string Message(const std::string& path, const std::string& reason)
{
    return (path + " : " + reason).substr(0, 127);
}

void ExpectPoint(const CloudPoint& p, double x, double y, double z, double amplitude, double phase)
{
    EXPECT_NEAR(p.x, x, 1e-15);
    EXPECT_NEAR(p.y, y, 1e-15);
    EXPECT_NEAR(p.z, z, 1e-15);
    EXPECT_NEAR(p.amplitude, amplitude, 1e-15);
    EXPECT_NEAR(p.phase, phase, 1e-15);
}

template <class T>
std::string Raw(std::initializer_list<T> values)
{
    return std::string(reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(T));
}

const std::string kHead = "ply\nformat ascii 1.0\n";
const std::string kPlace = "property float x\nproperty float y\nproperty float z\n";
// A square of side 2 in the plane z = 1, seen from +z by its first face, and the same from behind.
const std::string kSquare = kHead + "element vertex 4\n" + kPlace +
                            "property float amplitude\nelement face 2\nproperty list uchar int vertex_indices\n"
                            "end_header\n-1 -1 1 0\n1 -1 1 1\n1 1 1 1\n-1 1 1 0\n4 0 1 2 3\n4 3 2 1 0\n";
} // namespace

TEST(CloudFileTest, TextWithEverySeparatorAndPlacement)
{
    const std::string path =
        Write("\xEF\xBB\xBFx,y,z\n# comment\n\n1 2 3\r\n 4,5 ,\t6 , 0.5\n//no\n-1e1;+2;.5;2;-3\n% end");
    const std::vector<CloudPoint> plain = LoadPointCloud(path.c_str());
    ASSERT_EQ(plain.size(), 3u);
    ExpectPoint(plain[0], 1, 2, 3, 1, 0);
    ExpectPoint(plain[1], 4, 5, 6, 0.5, 0);
    ExpectPoint(plain[2], -10, 2, 0.5, 2, -3);

    CloudLoadOptions options;
    options.unit = 1e-3;
    options.scale = 2.0;
    options.centre = true; // the box runs from -10 to 4, 2 to 5, 0.5 to 6
    options.turn = Vector(0, 0, 1.5707963267948966);
    options.position = Vector(0, 0, -0.1);
    options.amplitude = 3.0;
    options.randomPhase = true;
    const std::vector<CloudPoint> placed = LoadPointCloud(path.c_str(), options);
    ASSERT_EQ(placed.size(), 3u);
    ExpectPoint(placed[0], 2e-3 * 1.5, 2e-3 * 4.0, 2e-3 * -0.25 - 0.1, 3.0, placed[0].phase);
    EXPECT_NE(placed[0].phase, placed[1].phase);
    options.seed = 2;
    EXPECT_NE(placed[0].phase, LoadPointCloud(path.c_str(), options)[0].phase);
}

TEST(CloudFileTest, PlyTakesWhatItKnowsAndSkipsTheRest)
{
    const std::string ascii = kHead +
                              "comment a\nelement camera 1\nproperty list uchar float view\nelement vertex 2\n"
                              "property uchar red\nproperty list int double junk\nproperty uchar green\n" +
                              kPlace +
                              "property uchar blue\nproperty float phase\nelement edge 1\nproperty int a\n"
                              "end_header\n3 1 2 3\n255 2 7 8 255 1 2 3 255 0.5\n\n51 0 51 4 5 6 51 1\nnot read";
    std::vector<CloudPoint> points = LoadPointCloud(Write(ascii).c_str());
    ASSERT_EQ(points.size(), 2u);
    ExpectPoint(points[0], 1, 2, 3, 1, 0.5);
    ExpectPoint(points[1], 4, 5, 6, std::sqrt(0.2), 1);

    // Intensities beat colours, amplitudes beat both; a list of more than 1024 numbers before the vertices.
    const std::string head =
        "ply\r\nformat binary_little_endian 1.0\r\nelement junk 1\r\nproperty list ushort short v\r\n"
        "element vertex 1\r\nproperty ushort intensity\r\nproperty double x\r\nproperty int8 y\r\n"
        "property float64 z\r\n";
    const std::string body = Raw<std::uint16_t>({1500}) + std::string(3000, 'j') + Raw<std::uint16_t>({16384}) +
                             Raw<double>({0.1}) + Raw<std::int8_t>({-7}) + Raw<double>({0.3});
    points = LoadPointCloud(Write(head + "end_header\r\n" + body).c_str());
    ASSERT_EQ(points.size(), 1u);
    ExpectPoint(points[0], 0.1, -7, 0.3, std::sqrt(16384.0 / 65535.0), 0);
    points = LoadPointCloud(
        Write(head + "property uint amplitude\r\nend_header\r\n" + body + Raw<std::uint32_t>({3})).c_str());
    ExpectPoint(points.at(0), 0.1, -7, 0.3, 3, 0);
}

TEST(CloudFileTest, HeadingsTypesAndTurnsOneByOne)
{
    for (const char* heading : {"abc\n", "z0 1 2\n", "A;B\n", "Z\n", "\"x\",\"y\"\n", "Name\n", "a{\n", "1 2 3\n"})
        EXPECT_EQ(LoadPointCloud(Write(std::string(heading) + "4 5 6\n").c_str()).size(), heading[0] == '1' ? 2u : 1u)
            << heading;
    const std::vector<std::pair<const char*, std::string>> types = {
        {"char", Raw<std::int8_t>({-9})},     {"uchar", Raw<std::uint8_t>({200})},
        {"short", Raw<std::int16_t>({-300})}, {"ushort", Raw<std::uint16_t>({40000})},
        {"int", Raw<std::int32_t>({-70000})}, {"uint", Raw<std::uint32_t>({3000000000u})},
        {"float", Raw<float>({0.5f})},        {"double", Raw<double>({0.1})}};
    const double values[] = {-9, 200, -300, 40000, -70000, 3e9, 0.5, 0.1};
    for (std::size_t n = 0; n < types.size(); ++n)
    {
        const std::string head = std::string("ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty ") +
                                 types[n].first + " phase\n" + kPlace + "end_header\n";
        EXPECT_EQ(LoadPointCloud(Write(head + types[n].second + Raw<float>({1, 2, 3})).c_str()).at(0).phase, values[n]);
    }
    const std::string path = Write("1 2 3\n");
    const Vector turned[] = {Vector(1, -3, 2), Vector(3, 2, -1), Vector(-2, 1, 3)}; // a quarter about each axis
    for (int axis = 0; axis < 3; ++axis)
    {
        CloudLoadOptions options;
        (axis == 0 ? options.turn.x : axis == 1 ? options.turn.y : options.turn.z) = 1.5707963267948966;
        const CloudPoint p = LoadPointCloud(path.c_str(), options).at(0);
        EXPECT_LT(std::hypot(p.x - turned[axis].x, p.y - turned[axis].y, p.z - turned[axis].z), 1e-15) << axis;
    }
}

TEST(CloudFileTest, SavedPointsComeBack)
{
    std::vector<CloudPoint> points;
    for (int n = 1; n < 70000; ++n)
        points.push_back({n / 3.0, -1e-300 * n, n * 1e9, std::sqrt(n), -0.0});
    const ScratchFile file("ply");
    SavePointCloud(file.Path(), points.data(), points.size());
    static std::int64_t calls, last; // in bytes, growing, up to the file's length
    calls = last = 0;
    SetProgressHandler(
        [](void*, const char*, std::int64_t done, std::int64_t total)
        {
            EXPECT_TRUE(last <= done && done <= total && total >= 40 * 69999);
            last = done;
            return ++calls > 0;
        },
        nullptr);
    const std::vector<CloudPoint> loaded = LoadPointCloud(file.Path());
    SetProgressHandler(nullptr, nullptr);
    EXPECT_GT(calls, 0);
    ASSERT_EQ(loaded.size(), points.size());
    EXPECT_EQ(std::memcmp(loaded.data(), points.data(), points.size() * sizeof(CloudPoint)), 0);
}

TEST(CloudFileTest, MeshesAreSampledEvenlyBySeed)
{
    const std::string path = Write(kSquare);
    CloudLoadOptions options;
    options.unit = 1e-3;
    options.density = 1e10; // 40,000 points on 4 mm^2
    options.cullBackFaces = true;
    const std::vector<CloudPoint> points = LoadPointCloud(path.c_str(), options);
    ASSERT_EQ(points.size(), 40000u);
    int cell[8][8] = {};
    for (const CloudPoint& p : points)
    {
        ASSERT_TRUE(std::fabs(p.x) <= 1e-3 && std::fabs(p.y) <= 1e-3 && p.z == 1e-3);
        EXPECT_NEAR(p.amplitude, 0.5 + 500.0 * p.x, 1e-12);
        ++cell[std::min(7, static_cast<int>((p.x + 1e-3) * 4e3))][std::min(7, static_cast<int>((p.y + 1e-3) * 4e3))];
    }
    for (const auto& row : cell)
        for (const int count : row)
            EXPECT_NEAR(count, 625, 5 * 25); // five deviations

    const auto load = [&]
    {
        return LoadPointCloud(path.c_str(), options);
    };
    EXPECT_EQ(detail::CloudRandom(0).Next(), 0xE220A8397B1DCDAFu); // a seed gives the same points in every version
    EXPECT_EQ(std::memcmp(load().data(), points.data(), points.size() * sizeof(CloudPoint)), 0);
    // What else a face has is passed over, before its corners and behind them; one that is seen edge-on has no front.
    std::string more = kSquare;
    for (const auto& [from, to] : {std::pair("property list uchar int", "property int id\nproperty list uchar int"),
                                   {"end_header", "property list uchar float uv\nend_header"},
                                   {"4 0 1 2 3", "7 4 0 1 2 3 2 0.5 9"},
                                   {"4 3 2 1 0\n", "8 4 3 2 1 0 0\n9 3 0 3 4 0\n"},
                                   {"face 2", "face 3"},
                                   {"vertex 4", "vertex 5"},
                                   {"-1 1 1 0\n", "-1 1 1 0\n-1 -1 2 0\n"}})
        more.replace(more.find(from), std::strlen(from), to);
    const std::vector<CloudPoint> same = LoadPointCloud(Write(more).c_str(), options);
    ASSERT_EQ(same.size(), points.size());
    EXPECT_EQ(std::memcmp(same.data(), points.data(), points.size() * sizeof(CloudPoint)), 0);
    options.scale = -1.0; // mirrored: the square lies at z = -1 mm and the same face is the front
    EXPECT_EQ(load()[0].z, -1e-3);
    options.turn = Vector(3.0, 0, 0); // seen from behind it is the other one
    EXPECT_EQ(load().size(), points.size());
    options.cullBackFaces = false;
    EXPECT_EQ(load().size(), 2 * points.size() + 10000);
    options.maxPoints = 89999;
    EXPECT_EQ(Catch(load).message, Message(path, "more than maxPoints points: lower the density"));
    options.density = 1.0;
    EXPECT_EQ(Catch(load).message, Message(path, "no points: the density is too low, or all faces are turned away"));
}

TEST(CloudFileTest, WrongFilesEndInOneError)
{
    const std::string vertex = kHead + "element vertex 1\n" + kPlace;
    const std::string faces = kHead + "element vertex 3\n" + kPlace + "element face 1\nproperty list uchar float ";
    const std::string corners = "vertex_index\nend_header\n0 0 0\n1 0 0\n0 1 0\n";
    const struct
    {
        std::string content;
        const char* reason;
        double density = 0.0;
    } cases[] = {
        {"", "no points in the file"},
        {"1 2\n", "line 1 : expected: x y z [amplitude [phase]]"},
        {"x y z\n1 2 3\nx y z\n", "line 3 : expected: x y z [amplitude [phase]]"},
        {"1a 2 3\n", "line 1 : expected: x y z [amplitude [phase]]"},
        {"1Z 2 3\n", "line 1 : expected: x y z [amplitude [phase]]"},
        {"1,,2,3\n", "line 1 : expected: x y z [amplitude [phase]]"},
        {"1 2 1e999\n", "line 1 : expected: x y z [amplitude [phase]]"},
        {std::string("1 2 3\0\n", 7), "line 1 : expected: x y z [amplitude [phase]]"},
        {"0 0 0\n1 nan 3\n", "line 2 : numbers must be finite"},
        {"0 0 1e308\n", "placed points are not finite: unit or scale too large"},
        {"0 0 1\n", "text has no faces: density must be 0", 1.0},
        {"ply\n", "the head has no end"},
        {"ply\nend_header\n", "the head names no format"},
        {"ply\nformat binary_big_endian 1.0\n", "line 2 : only ascii and binary_little_endian 1.0 can be read"},
        {kHead + "vertex\n", "line 3 : not a line of a PLY head"},
        {kHead + "element vertex -1\n", "line 3 : expected: element NAME COUNT"},
        {kHead + "element vertex 1\nproperty half x\n", "line 4 : unknown type of number"},
        {kHead + "element vertex 1\nproperty list float int x\n",
         "line 4 : the length of a list must be a whole number"},
        {kHead + "end_header\n", "there is no element vertex"},
        {vertex + "element vertex 1\nend_header\n", "an element stands twice in the head"},
        {kHead + "element vertex 1\nproperty float x\nend_header\n1\n", "vertices have no x, y and z"},
        {kHead + "element vertex 5000000000\n" + kPlace + "end_header\n", "too many vertices"},
        {kHead + "element vertex 4000000000\n" + kPlace + "end_header\n1 2 3\n",
         "the file is shorter than its head says"},
        {vertex + "end_header\n1 2\n12345", "line 8 : values are missing"},
        {vertex + "end_header\n1 2 x\n", "line 8 : a value is no number"},
        {vertex + "end_header\n1 2 inf\n", "vertex 0 : numbers must be finite"},
        {vertex + "property list int int l\nend_header\n1 2 3 -1\n", "a list has no valid length"},
        {kHead + "element junk 9000000000000000\nproperty char c\nelement vertex 1\n" + kPlace + "end_header\n",
         "the file is shorter than its head says"},
        {kHead + "element junk 9000000000000000\nelement vertex 0\n" + kPlace + "end_header\n",
         "no points in the file"},
        {"ply\nformat binary_little_endian 1.0\nelement vertex 1\n" + kPlace +
             "property list uint int l\nend_header\n" + Raw<float>({1, 2, 3}) + Raw<std::uint32_t>({0xffffffffu}),
         "the file is shorter than its head says"},
        {vertex + "end_header\n1 2 3\n", "there are no faces: density must be 0", 1.0},
        {faces + "corners\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", "faces have no list vertex_indices", 1.0},
        {faces + corners + "3 0 1 3\n", "face 0 : there is no such vertex", 1.0},
        {faces + corners + "3 0 1 -1\n", "face 0 : there is no such vertex", 1.0},
        {faces + corners + "3 0 1 0.5\n", "face 0 : there is no such vertex", 1.0},
        {faces + corners + "3 0 1\n", "line 13 : values are missing", 1.0},
    };
    CloudLoadOptions options;
    for (const auto& c : cases)
    {
        const std::string path = Write(c.content);
        options.density = c.density;
        options.unit = c.content == "0 0 1e308\n" ? 1e10 : 1.0;
        const Failure failure = Catch([&] { LoadPointCloud(path.c_str(), options); });
        EXPECT_EQ(failure.function, fnLoad) << c.content;
        EXPECT_EQ(failure.message, Message(path, c.reason)) << c.content;
        EXPECT_EQ(failure.code, c.content == "0 0 1\n" ? ERR_PARAMETER : ERR_FILE_READ) << c.content;
    }
    EXPECT_EQ(Catch([] { LoadPointCloud("/no/such"); }), (Failure{ERR_FILE_OPEN, fnLoad, "/no/such"}));
    const std::string path = Write("1 2 3\n");
    for (const auto& [member, reason] :
         {std::pair(&CloudLoadOptions::unit, "unit must be above 0 and scale not 0"),
          std::pair(&CloudLoadOptions::density, "density must not be negative and maxPoints not below 1")})
    {
        CloudLoadOptions wrong;
        wrong.*member = -1.0;
        EXPECT_EQ(Catch([&] { LoadPointCloud(path.c_str(), wrong); }),
                  (Failure{ERR_PARAMETER, fnLoad, Message(path, reason)}));
        wrong.*member = std::numeric_limits<double>::quiet_NaN();
        EXPECT_EQ(Catch([&] { LoadPointCloud(path.c_str(), wrong); }).message, Message(path, "options must be finite"));
    }
}
