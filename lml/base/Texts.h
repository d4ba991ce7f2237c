// The messages of the library that are not ASCII: Japanese, as Shift-JIS bytes whatever the encoding of the sources.
// Callers receive exactly these bytes through Error; the comment above each one is its meaning.
#ifndef LML_TEXTS_H
#define LML_TEXTS_H

namespace LumoraLib::detail
{

// the two fields lie on different planes
inline constexpr char kTextOtherPlane[] = "\x88\xd9\x82\xc8\x82\xc1\x82\xbd\x95\xbd\x96\xca\x82\xc9\x82\xa0\x82\xe9";

// the pitches differ
inline constexpr char kTextOtherPitch[] = "\x83s\x83\x62\x83`\x82\xaa\x88\xd9\x82\xc8\x82\xc1\x82\xc4\x82\xa2\x82\xe9";

// the normal vectors differ
inline constexpr char kTextOtherNormal[] = "\x96@\x90\xfc\x83x\x83N\x83g\x83\x8b\x82\xaa\x88\xd9\x82\xc8\x82\xe9";

// an OptionHead cannot be used
inline constexpr char kTextNoOptionHead[] = "OptionHead\x82\xcd\x8eg\x82\xa6\x82\xc8\x82\xa2";

// the object to load into is in Fourier space
inline constexpr char kTextTargetIsSpectrum[] =
    "\x93\xc7\x82\xdd\x8d\x9e\x82\xdd\x90\xe6\x82\xcc\x83I\x83u\x83W\x83\x46\x83N\x83g\x82\xaa\x83t\x81["
    "\x83\x8a\x83G\x8b\xf3\x8a\xd4\x82\xc9\x82\xa0\x82\xe9";

// max is smaller than min
inline constexpr char kTextMaxBelowMin[] = "max\x82\xaamin\x82\xe6\x82\xe8\x8f\xac\x82\xb3\x82\xa2";

} // namespace LumoraLib::detail

#endif
