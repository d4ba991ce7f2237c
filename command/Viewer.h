// The pictures of a page that can be switched and zoomed, with their colours and extents.
#ifndef LMLCOMMAND_VIEWER_H
#define LMLCOMMAND_VIEWER_H

#include <LmlPictures.h>

#include <string>

namespace command
{
/// One of the pictures.
struct Tab
{
    const char* id;
    const char* name;
    LumoraLib::PictureQuantity quantity;
    bool spectrum;
};

/// Pictures, one behind the other, and what belongs to each.
struct Viewer
{
    std::string tabs;
    std::string images;
    std::string bars;
};
/// Adds the picture of the field's window. Without a pitch its places are in samples.
void AddTab(Viewer& viewer, const Tab& tab, int number, const LumoraLib::Lumora& field, int maxSize, bool knowsPitch);
} // namespace command

#endif
