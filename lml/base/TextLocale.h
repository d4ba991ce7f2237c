// Numbers in text, written and read with a decimal point whatever the locale of the process is.
#ifndef LML_TEXTLOCALE_H
#define LML_TEXTLOCALE_H

#include <clocale>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>

#include <langinfo.h>
#include <locale.h>

#include "LmlRuntime.h"

namespace LumoraLib::detail
{

/// While an object lives, the calling thread formats and parses numbers as in the "C" locale; other threads and the
/// locale of the process are untouched. Objects nest. Where the system refuses the locale, nothing is switched.
class CLocaleScope
{
public:
    CLocaleScope() : previous_(CLocale() != nullptr ? uselocale(CLocale()) : nullptr) {}
    ~CLocaleScope()
    {
        if (previous_ != nullptr)
            uselocale(previous_);
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    // One locale object for the process, never freed: threads may still stand in it at the end.
    static locale_t CLocale()
    {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    locale_t previous_;
};

/// The same for numbers alone: texts keep the encoding of the thread's locale, so that wide ones can be written. Does
/// nothing where that locale's numbers are those of "C". Where the system refuses the mixture, the whole "C" locale
/// holds.
class CNumberScope
{
public:
    CNumberScope()
    {
        if (std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0 && *nl_langinfo(THOUSEP) == '\0')
            return;
        const locale_t copy = duplocale(uselocale(nullptr));
        if (copy != nullptr)
            mixed_ = newlocale(LC_NUMERIC_MASK, "C", copy);
        if (mixed_ != nullptr)
        {
            previous_ = uselocale(mixed_);
            return;
        }
        if (copy != nullptr)
            freelocale(copy);
        whole_.emplace();
    }
    ~CNumberScope()
    {
        if (mixed_ == nullptr)
            return;
        uselocale(previous_);
        freelocale(mixed_);
    }
    CNumberScope(const CNumberScope&) = delete;
    CNumberScope& operator=(const CNumberScope&) = delete;

private:
    locale_t mixed_ = nullptr;
    locale_t previous_ = nullptr;
    std::optional<CLocaleScope> whole_;
};

/// vsnprintf and snprintf with a decimal point: at most n bytes with the terminator, returns the length of the whole.
inline int VFormatC(char* buffer, std::size_t n, const char* format, std::va_list args)
{
    const CNumberScope scope;
    return std::vsnprintf(buffer, n, format, args);
}

LML_PRINTF_LIKE(3, 4)
inline int FormatC(char* buffer, std::size_t n, const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    const int length = VFormatC(buffer, n, format, args);
    va_end(args);
    return length;
}

} // namespace LumoraLib::detail

#endif
