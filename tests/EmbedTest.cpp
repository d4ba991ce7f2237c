// Embedding and extraction: places, windows, one-row fields, refusals that change nothing.
#include "TestTools.h"

using namespace lmltest;

TEST(Embed, CentresAndCutsBack)
{
    const struct
    {
        int nx, ny, n, grownNx, grownNy;
    } table[] = {{4, 4, 1, 8, 8}, {4, 2, 2, 16, 8}, {8, 1, 1, 16, 1}, {1, 1, 1, 2, 1}, {1, 4, 1, 2, 8}};
    for (const Threads threads : EachTeam({1, 3}))
        for (const auto& t : table)
        {
            Lumora f(t.nx, t.ny);
            FillRandom(f);
            f.SetOrigin(Vector(1, 2, 3));
            f.Form() = POLAR_SPECTRUM;
            const Lumora before(f);
            f.Embed(t.n);
            ASSERT_EQ(f.GetNx(), t.grownNx);
            ASSERT_EQ(f.GetNy(), t.grownNy);
            const int x0 = (t.grownNx - t.nx) / 2;
            const int y0 = (t.grownNy - t.ny) / 2;
            EXPECT_TRUE(WindowIs(f, x0, x0 + t.nx, y0, y0 + t.ny));
            for (const auto [i, j] : Grid(t.grownNx, t.grownNy))
            {
                const bool inside = i >= x0 && i < x0 + t.nx && j >= y0 && j < y0 + t.ny;
                EXPECT_TRUE(f.GetPixel(i, j) == (inside ? before.GetPixel(i - x0, j - y0) : Complex()));
            }
            f.Extract(t.n);
            EXPECT_TRUE(SameBits(f, before));
            Lumora whole(before);
            EXPECT_EQ(Frame(f), Frame(whole.SetWindowMax()));
        }
}

TEST(Embed, FactorsPerAxis)
{
    const int table[][6] = {{4, 4, 1, 2, 8, 16}, {4, 4, 0, 1, 4, 8}, {1, 4, 3, 1, 1, 8}, {4, 1, 1, 3, 8, 1}};
    for (const auto& t : table)
    {
        Lumora f(t[0], t[1]);
        f.SetConst(Complex(1.0, 0.0));
        f.Embed(t[2], t[3]);
        EXPECT_EQ(f.GetNx(), t[4]);
        EXPECT_EQ(f.GetNy(), t[5]);
        EXPECT_EQ(f.GetPixel(f.GetNx() / 2, f.GetNy() / 2).Real(), 1.0f);
    }
}

TEST(Embed, OnACallersBuffer)
{
    alignas(16) Complex memory[64];
    Lumora f(0, 0);
    f.SetNx(8).SetNy(8);
    f.Init(memory);
    FillRandom(f);
    const Lumora before(f);
    EXPECT_EQ(Catch([&] { f.Embed(1); }).code, 1);
    EXPECT_TRUE(SameBits(f, before));
    f.Extract(1);
    EXPECT_EQ(f.GetDataPointer(), memory);
    EXPECT_TRUE(f.GetPixel(0, 0) == before.GetPixel(2, 2));
    Lumora cut(f);
    f.Embed(1);
    EXPECT_EQ(f.GetDataPointer(), memory);
    EXPECT_TRUE(f.GetPixel(2, 2) == cut.GetPixel(0, 0));
    EXPECT_TRUE(f.GetPixel(1, 1) == Complex());
}
