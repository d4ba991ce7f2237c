// The adapter to the vendor's DFT library against a double of its seven operations: lengths, directions, life of the
// descriptors, settings, and whole field transforms beside the split-radix engine.
#include "../TestTools.h"

#include "VendorDouble.h"
#include "base/StepByStep.h"
#include "transform/EngineTable.h"
#include "transform/VendorFft.h"

using namespace lmltest;

namespace
{
/// Binds the adapter in place of the split-radix engine, as a build with the vendor's library does for value 1.
class BoundAdapter
{
public:
    BoundAdapter() : engine_(FFT_LIB_SPLIT_RADIX), binding_(detail::fftBinding), hooks_(detail::threadHooks)
    {
        detail::fftBinding = {detail::VendorTransform2d, detail::VendorTransform1d};
        detail::threadHooks = {detail::VendorSetThreads, detail::VendorSetDynamic};
        vendordouble::Seen() = {};
    }
    ~BoundAdapter()
    {
        detail::fftBinding = binding_;
        detail::threadHooks = hooks_;
    }
    BoundAdapter(const BoundAdapter&) = delete;
    BoundAdapter& operator=(const BoundAdapter&) = delete;

private:
    Engine engine_;
    detail::FftBinding binding_;
    detail::ThreadHooks hooks_;
};
} // namespace

TEST(VendorFft, FieldTransformsAgreeWithTheOwnEngine)
{
    const int sizes[][2] = {{8, 1}, {64, 1}, {2, 2}, {16, 8}, {8, 32}};
    for (const auto& size : sizes)
        for (const int sign : {-1, 1})
        {
            Lumora own(size[0], size[1], 2e-6, 3e-6);
            FillRandom(own, 7);
            Lumora vendor(own);
            {
                Engine splitRadix(FFT_LIB_SPLIT_RADIX);
                own.Fft(sign);
            }
            {
                BoundAdapter bound;
                vendor.Fft(sign);
                EXPECT_EQ(vendordouble::Seen().created, 1);
                EXPECT_EQ(vendordouble::Seen().live, 0);
                EXPECT_EQ(vendordouble::Seen().misuse, 0);
                EXPECT_EQ(vendordouble::Seen().lengths[0], size[1]);
                EXPECT_EQ(vendordouble::Seen().lengths[1], size[0]);
            }
            EXPECT_LT(RelativeL2(vendor, own), 5e-7) << size[0] << " by " << size[1] << ", sign " << sign;
            EXPECT_EQ(vendor.GetPx(), own.GetPx());
            EXPECT_EQ(vendor.Form(), own.Form());
        }
}

TEST(VendorFft, RefusedDescriptorLeavesSamples)
{
    BoundAdapter bound;
    vendordouble::Seen().refuse = true;
    Lumora field(8, 4);
    FillRandom(field);
    Lumora before(field);
    EXPECT_EQ(Catch([&] { field.Fft(-1); }).code, 0);
    EXPECT_TRUE(SameBits(field, before)); // two quadrant exchanges with nothing between
}

TEST(VendorFft, SettingsReachTheLibrary)
{
    BoundAdapter bound;
    detail::threadHooks.setThreads(3);
    detail::threadHooks.setThreads(0);
    EXPECT_EQ(vendordouble::Seen().threads, 3);
    detail::threadHooks.setDynamic(true);
    EXPECT_EQ(vendordouble::Seen().dynamic, 1);
    detail::threadHooks.setDynamic(false);
    EXPECT_EQ(vendordouble::Seen().dynamic, 0);
}
