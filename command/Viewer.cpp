// The pictures of a page that can be switched and zoomed, with their colours and extents.
#include "Viewer.h"
#include "Invocation.h"
#include "Quantity.h"

namespace command
{
using namespace LumoraLib;

namespace
{
std::string Base64(const std::vector<std::uint8_t>& bytes)
{
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t n = 0; n < bytes.size(); n += 3)
    {
        const auto byte = [&](std::size_t i) -> unsigned
        {
            return n + i < bytes.size() ? bytes[n + i] : 0U;
        };
        const unsigned bits = byte(0) << 16 | byte(1) << 8 | byte(2);
        for (int digit = 0; digit < 4; ++digit)
            text += kDigits[bits >> (18 - 6 * digit) & 63];
    }
    const std::size_t missing = (3 - bytes.size() % 3) % 3;
    text.replace(text.size() - missing, missing, missing, '=');
    return text;
}

std::string Gradient(PictureColours colours)
{
    std::string stops;
    for (int n = 0; n <= 16; ++n)
    {
        const PictureColour c = GetPictureColour(colours, n / 16.0);
        stops += (n == 0 ? "rgb(" : ", rgb(") + std::to_string(c.red) + " " + std::to_string(c.green) + " " +
                 std::to_string(c.blue) + ")";
    }
    return "linear-gradient(90deg, " + stops + ")";
}

} // namespace

void AddTab(Viewer& viewer, const Tab& tab, int number, const Lumora& field, int maxSize, bool knowsPitch)
{
    CheckForSignal();
    PictureStyle style;
    style.quantity = tab.quantity;
    style.decibels = tab.spectrum ? 60.0 : 40.0;
    style.window = true;
    style.maxSize = maxSize;
    const PictureImage image = RenderPicture(field, style);
    const LML_RECT w = const_cast<Lumora&>(field).Window();
    const bool frequencies = field.IsSpectrum();
    const double unit = !knowsPitch ? 1.0 : frequencies ? 1e3 : 1e-3;
    const double px = knowsPitch ? field.GetPx() : 1.0;
    const double py = knowsPitch ? field.GetPy() : 1.0;
    const auto place = [&](std::int32_t index, std::int32_t size, double pitch)
    {
        return std::to_string((index - size / 2) * pitch / unit);
    };
    const std::string n = std::to_string(number);
    viewer.tabs += "<button role=\"tab\" data-show=\"" + std::string(tab.id) + "\">" + tab.name + "</button>\n";
    viewer.images += "<img alt=\"" + std::string(tab.name) + "\" draggable=\"false\" data-unit=\"" +
                     (!knowsPitch   ? "samples"
                      : frequencies ? "/mm"
                                    : "mm") +
                     "\" data-extent=\"" + place(w.left, field.GetNx(), px) + " " + place(w.right, field.GetNx(), px) +
                     " " + place(w.bottom, field.GetNy(), py) + " " + place(w.top, field.GetNy(), py) +
                     "\" src=\"data:image/png;base64," + Base64(EncodePng(image)) + "\">\n";
    viewer.bars += "<span class=\"bar\" data-for=\"" + n + "\">";
    if (tab.quantity == PICTURE_COMPLEX)
        viewer.bars += "hue: phase, brightness: amplitude";
    else
    {
        const bool phase = tab.quantity == PICTURE_PHASE;
        const PictureRange range = GetPictureRange(field, style);
        const std::string suffix = tab.quantity == PICTURE_DECIBEL ? " dB" : "";
        viewer.bars += (phase ? "&minus;&pi;" : Show(range.low, Kind::Number) + suffix) +
                       " <i style=\"background: " + Gradient(phase ? COLOURS_CYCLE : COLOURS_EMBER) + "\"></i> " +
                       (phase ? "&pi;" : Show(range.high, Kind::Number) + suffix);
    }
    viewer.bars += "</span>\n";
}
} // namespace command
