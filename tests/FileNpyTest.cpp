// NPY files: heads by hand, and NumPy as reader and writer of the same arrays.

#include "TestTools.h"

namespace
{
using namespace lmltest;

std::string Npy(const std::string& head, std::size_t bytes, int version = 1)
{
    return "\x93NUMPY" + Le(std::uint64_t(version), 2) + Le(head.size(), version == 1 ? 2 : 4) + head +
           std::string(bytes, '\0');
}

TEST(NpyLoad, HeadsAsPythonReadsThem)
{
    const struct
    {
        const char* head;
        int nx; ///< 0: the head is refused
        int ny;
    } rows[] = {
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (3, 5), }", 5, 3},
        {"{\"shape\":(3L,5L),\"descr\":\"<f4\",\"fortran_order\":True}", 5, 3},
        {" { 'shape' : ( 7 , ) , 'fortran_order' : False , 'descr' : '<f8' } \n", 7, 1},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (7)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (3 5)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (3,, 5)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (-3, 5)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (1073741825, 0)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (4294967296, 4294967296)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (9999999999999999999, 1)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (3, 5)} x", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (3, 5)", 0, 0},
        {"{'descr': '<c8', 'descr': '<c8', 'fortran_order': False, 'shape': (3, 5)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': 0, 'shape': (3, 5)}", 0, 0},
        {"{'descr': '<c8', 'shape': (3, 5)}", 0, 0},
        {"{'descr': [('a', '<c8')], 'fortran_order': False, 'shape': (3, 5)}", 0, 0},
        {"{'descr': '|O', 'fortran_order': False, 'shape': (3, 5)}", 0, 0},
        {"{'descr': '<c8', 'fortran_order': False, 'shape': (0, 8)}", 8, 0}, // no samples
        {"", 0, 0},
    };
    ScratchFile file("f.npy");
    for (const auto& row : rows)
        for (const int version : {1, 2, 3})
        {
            file.Write(Npy(row.head, 120, version));
            Lumora field(2, 2, 1e-6, 2e-6, 500e-9);
            field.Clear();
            const Failure failure = Catch([&] { field.LoadNpy(file.Path()); });
            EXPECT_EQ(failure.code, row.nx == 0 ? 5 : 0) << row.head << failure.message;
            EXPECT_EQ(field.Window().right - field.Window().left, row.nx == 0 ? 2 : row.nx) << row.head;
            EXPECT_EQ(field.Window().top - field.Window().bottom, row.nx == 0 ? 2 : row.ny) << row.head;
        }
}

double Re(int i, int j)
{
    return (j + 1) * 0.1 - i;
}
double Im(int i, int j)
{
    return (i + 2) / 3.0 + j;
}

TEST(Npy, ThereAndBackWithNumPy)
{
    const std::string folder = std::string(LML_SCRATCH_DIR) + "/npy/";
    const auto run = [](const std::string& python, const std::string& text)
    {
        return std::system((python + " -c \"" + text + "\" 2>/dev/null").c_str()) == 0;
    };
    std::string python = "python3";
    if (!run(python, "import numpy") && !run(python = "/usr/bin/python3", "import numpy"))
        GTEST_SKIP() << "NumPy (Debian package python3-numpy) is not installed";
    std::filesystem::create_directories(folder);
    ASSERT_TRUE(run(python, "import numpy as np\n"
                            "for ny, nx in ((3, 5), (4, 8), (1, 6), (9, 1)):\n"
                            "  j, i = np.mgrid[0:ny, 0:nx]\n"
                            "  a = (j + 1) * 0.1 - i + 1j * ((i + 2) / 3.0 + j)\n"
                            "  for t in ('c8', 'c16', 'f4', 'f8'):\n"
                            "    b = (a if t[0] == 'c' else a.real).astype('<' + t)\n"
                            "    for o in 'CF':\n"
                            "      for v in (1, 2, 3):\n"
                            "        with open('%s%d.%d.%s.%s.%d' % ('" +
                                folder +
                                "', nx, ny, t, o, v), 'wb') as f:\n"
                                "          np.lib.format.write_array(f, np.asarray(b, order=o), (v, 0))\n"));
    for (const auto& [nx, ny, wide, high] : {std::array{5, 3, 8, 4}, {8, 4, 8, 4}, {6, 1, 8, 1}, {1, 9, 1, 16}})
        for (const char* kind : {"c8", "c16", "f4", "f8"})
            for (const char* rest : {"C.1", "C.2", "C.3", "F.1", "F.2", "F.3"})
            {
                const std::string path =
                    folder + std::to_string(nx) + "." + std::to_string(ny) + "." + kind + "." + rest;
                Lumora field(4, 4, 1e-6, 2e-6, 500e-9);
                field.Form() = POLAR_SPECTRUM;
                field.LoadNpy(path.c_str());
                ASSERT_EQ(field.GetNx(), wide) << path;
                ASSERT_EQ(field.GetNy(), high) << path;
                EXPECT_EQ(field.Form(), SPECTRUM);
                EXPECT_EQ(field.GetPy(), 2e-6);
                Lumora expected(wide, high);
                expected.Clear();
                const LML_RECT& w = field.Window();
                EXPECT_EQ(w.left, (wide - nx) / 2);
                EXPECT_EQ(w.bottom, (high - ny) / 2);
                for (int j = 0; j < ny; ++j)
                    for (int i = 0; i < nx; ++i)
                        expected.SetPixel(w.left + i, w.bottom + j, Complex(Re(i, j), kind[0] == 'c' ? Im(i, j) : 0.0));
                EXPECT_TRUE(SameBits(field, expected)) << path;
                if (std::string(rest) != "C.1" || std::string(kind) != "c8")
                    continue;
                // What NumPy makes of the file is the file, byte for byte.
                ScratchFile ours("ours.npy"), theirs("theirs.npy");
                field.WinSaveNpy(ours.Path());
                ASSERT_TRUE(run(python, std::string("import numpy as np\n") + "np.save('" + theirs.Path() +
                                            "', np.load('" + ours.Path() + "'))"));
                EXPECT_EQ(ours.Read(), theirs.Read());
                Lumora again;
                again.LoadNpy(ours.Path());
                EXPECT_TRUE(SameBits(again, expected)) << path;
            }
    std::filesystem::remove_all(folder);
}
} // namespace
