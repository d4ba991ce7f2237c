// Runtime frame: the one road of every failure, the log, aligned memory, the tick clock, and what build this is.

#include "LmlRuntime.h"

#include "base/Describe.h"
#include "base/IntMath.h"
#include "base/Memory.h"
#include "base/TextLocale.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <limits>

// The build gives these two from SOURCE_DATE_EPOCH, so that it can be repeated bit by bit; where they are empty, the
// compiler's own clock counts.
#ifndef LML_BUILD_DATE
#define LML_BUILD_DATE ""
#endif
#ifndef LML_BUILD_TIME
#define LML_BUILD_TIME ""
#endif

#define LML_STRINGIFY_(x) #x
#define LML_STRINGIFY(x) LML_STRINGIFY_(x)
#if defined(__clang__)
#define LML_COMPILER                                                                                                   \
    "Clang " LML_STRINGIFY(__clang_major__) "." LML_STRINGIFY(__clang_minor__) "." LML_STRINGIFY(__clang_patchlevel__)
#elif defined(__GNUC__)
#define LML_COMPILER                                                                                                   \
    "GCC " LML_STRINGIFY(__GNUC__) "." LML_STRINGIFY(__GNUC_MINOR__) "." LML_STRINGIFY(__GNUC_PATCHLEVEL__)
#else
#define LML_COMPILER "C++"
#endif

namespace LumoraLib
{
namespace
{
// Texts of the codes, indexed by the code, in rows of 32 characters like the member of LumoraException that takes them.
constexpr char kErrorText[][32] = {
    "No error",  "Not enough memory", "File Not open",        "Parameter invalid",        "File write",
    "File read", "Something wrong",   "Invalid complex form", "Require Spectrum/CompAmp", "Internal error",
};
constexpr std::int32_t kErrorTexts = static_cast<std::int32_t>(sizeof kErrorText / sizeof kErrorText[0]);

constexpr char kNullText[] = "(null)"; // what the platform's formatter prints for a null string
constexpr std::size_t kLine = 320;     // longest text of one Printf, with its terminator

ErrorHandling errorHandling = ERROR_HANDLING_EXIT;
std::FILE* logStream = nullptr;
std::int64_t tickBase = 0;

// Copies a text into an array, cut at the array's end; null counts as empty. The texts may overlap (self-assignment).
template <std::size_t N>
const char* CopyCut(char (&to)[N], const char* from)
{
    const std::size_t length = from == nullptr ? 0 : strnlen(from, N - 1);
    if (length != 0)
        std::memmove(to, from, length);
    to[length] = '\0';
    return to;
}

// Formats into an array, cut at its end, with a decimal point in every locale: a log is read by other programs too.
// A text that cannot be formatted comes out empty.
template <std::size_t N>
void FormatV(char (&to)[N], const char* format, std::va_list args)
{
    if (detail::VFormatC(to, N, format, args) < 0)
        to[0] = '\0';
}

template <std::size_t N>
LML_PRINTF_LIKE(2, 3)
void Format(char (&to)[N], const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    FormatV(to, format, args);
    va_end(args);
}

// Log first, console second. A stream that fails is cleared and ignored, so that neither keeps the other from its text.
void Write(const char* text)
{
    for (std::FILE* stream : {logStream, stderr})
    {
        if (stream == nullptr)
            continue;
        const bool written = std::fputs(text, stream) >= 0;
        if (std::fflush(stream) != 0 || !written)
            std::clearerr(stream);
    }
}

// CPU time of the process in milliseconds.
std::int64_t ClockMs()
{
    return static_cast<std::int64_t>(std::clock()) * 1000 / static_cast<std::int64_t>(CLOCKS_PER_SEC);
}

// The same in the 32 bits of a stop watch; the watch takes differences only, and those survive the wrap-around.
std::int32_t ClockTick()
{
    return static_cast<std::int32_t>(ClockMs());
}

const char* DateText()
{
    static char buffer[80];
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    // Kept: the month is printed as the platform counts it, from 0; a date in November stands as month 10 in every log.
    Format(buffer, "%04d/%02d/%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon, local.tm_mday, local.tm_hour,
           local.tm_min, local.tm_sec);
    return buffer;
}

void StartAt(int level, const char* path)
{
    const int processors = GetNumProcs();
    SetNumThreads(1); // Kept: a count set before Start does not survive it
    tickBase = ClockMs();
    if (path != nullptr)
    {
        std::FILE* const opened = std::fopen(path, "at");
        if (opened == nullptr)
            Error(ERR_FILE_OPEN, "LumoraLib::Start", path);
        logStream = opened; // Kept: a log opened earlier stays open, but gets nothing more
    }
    if (level > 0)
        Printf("*** LumoraLib <%s/%s/%s> Rel.%s  CPU Core: %d\n", GetTargetEnvString(), GetPlatformString(),
               GetCpuTypeString(), GetVersionString(), processors);
    if (level >= 2)
        Printf("*** Build : %s %s Ver.%s\n", GetCreateTimeStamp(), GetCreateEnvString(), GetCreateEnvVersionString());
    if (level >= 3)
        Printf("*** Logging Start from %s, File : %s\n", DateText(), path == nullptr ? kNullText : path);
}

constexpr const char* kBuildDate = sizeof LML_BUILD_DATE > 1 ? LML_BUILD_DATE : __DATE__;
constexpr const char* kBuildTime = sizeof LML_BUILD_TIME > 1 ? LML_BUILD_TIME : __TIME__;

// One buffer of 20 characters and a terminator for each identification text.
using IdText = char[20 + 1];
} // namespace

// --- Errors ------------------------------------------------------------------------------------------------------

LumoraException::LumoraException(ErrorCode code, const char* funcname, const char* systemMessage,
                                 const char* userMessage)
    : errorCode_(code)
{
    CopyCut(systemMessage_, systemMessage);
    CopyCut(userMessage_, userMessage);
    CopyCut(funcname_, funcname);
}

LumoraException& LumoraException::operator=(const LumoraException& other)
{
    errorCode_ = other.errorCode_;
    CopyCut(systemMessage_, other.systemMessage_);
    CopyCut(userMessage_, other.userMessage_);
    CopyCut(funcname_, other.funcname_);
    return *this;
}

void Error(ErrorCode code, const char* funcname, const char* message)
{
    const char* const name = funcname == nullptr ? "" : funcname;
    const char* const text = message == nullptr ? "" : message;
    if (errorHandling != ERROR_HANDLING_EXIT)
    {
        const LumoraException failure(code, name, GetErrorString(code), text);
        detail::KeepDetail(failure);
        throw failure;
    }
    Printf("\n*** ERROR!! LumoraLib Rel.%-7s\n*** %s() : %s : %s\n*** ABORT!!\n\n", GetVersionString(), name,
           GetErrorString(code), text);
    std::fflush(logStream); // without a log: all output streams, so that the program's own text is not lost either
    std::exit(1);
}

const char* GetErrorString(ErrorCode code)
{
    const std::int32_t row = code;
    return row >= 0 && row < kErrorTexts ? kErrorText[row] : "Unknown error";
}

void SetErrorHandling(ErrorHandling handling)
{
    errorHandling = handling;
}

ErrorHandling GetErrorHandling()
{
    return errorHandling;
}

// --- Memory ------------------------------------------------------------------------------------------------------

void* Malloc(std::size_t size, const char* what)
{
    static char message[128];
    void* const p = detail::AlignedBlock(size);
    if (p == nullptr)
    {
        char demand[64];
        Format(demand, "demanded bytes = %ld", static_cast<long>(size));
        Format(message, "%s : %s", demand, what == nullptr ? kNullText : what);
        Error(ERR_MEMORY, "LumoraLib::Malloc", message);
    }
    return p;
}

void Free(void* p)
{
    std::free(p);
}

// --- Log ---------------------------------------------------------------------------------------------------------

void Start(const char* path)
{
    StartAt(1, path);
}

void Start(int level)
{
    StartAt(level, nullptr);
}

void Start(int level, const char* path)
{
    StartAt(level, path);
}

void Printf(const char* format, ...)
{
    char text[kLine];
    std::va_list args;
    va_start(args, format);
    FormatV(text, format, args);
    va_end(args);
    Write(text);
}

void PrintL(const char* format, ...)
{
    char text[kLine];
    std::va_list args;
    va_start(args, format);
    FormatV(text, format, args);
    va_end(args);
    Printf("%09.3fs>", GetTickSec());
    Printf("%s", text);
}

void PrintLog(const char* format, ...)
{
    char text[kLine];
    std::va_list args;
    va_start(args, format);
    FormatV(text, format, args);
    va_end(args);
    const double seconds = GetTickSec();
    Printf(">>> CPU Time : %09.3lf Sec (%s) <<<\n", seconds, DateText());
    Printf("%s", text);
}

std::FILE* GetLogFile()
{
    return logStream;
}

// --- Time --------------------------------------------------------------------------------------------------------

std::int64_t GetTick()
{
    return ClockMs() - tickBase;
}

double GetTickSec()
{
    return static_cast<double>(GetTick()) / 1000.0;
}

void StopWatch::Reset()
{
    *this = StopWatch();
}

void StopWatch::Start()
{
    if (state_ == 0)
        startTick_ = ClockTick();
    else if (state_ == 2)
        pausedTicks_ = detail::WrapAdd(pausedTicks_, detail::WrapSub(ClockTick(), stopTick_));
    state_ = 1;
}

void StopWatch::Stop()
{
    if (state_ != 1)
        return;
    stopTick_ = ClockTick();
    state_ = 2;
}

double StopWatch::Read() const
{
    if (state_ == 0)
        return 0.0;
    return read(state_ == 2 ? stopTick_ : ClockTick());
}

double StopWatch::read(std::int32_t now) const
{
    return detail::WrapSub(detail::WrapSub(now, startTick_), pausedTicks_) / 1000.0;
}

// --- Identification ----------------------------------------------------------------------------------------------

const char* GetVersionString()
{
    static IdText text;
    Format(text, "%d.%02d.%02d", GetMajorVersion(), GetMinorVersion(), GetPatchNumber());
    return text;
}

int GetMajorVersion()
{
    return LML_VERSION_MAJOR;
}

int GetMinorVersion()
{
    return LML_VERSION_MINOR;
}

int GetPatchNumber()
{
    return LML_VERSION_PATCH;
}

const char* GetCreateTimeStamp()
{
    static IdText text;
    Format(text, "%s %s", kBuildDate, kBuildTime);
    return text;
}

const char* GetCreateEnvVersionString()
{
    static IdText text;
    // Kept: always 11.00, whatever compiler builds the library; programs that want the compiler ask for its name.
    Format(text, "%2d.%02d", 11, 0);
    return text;
}

// Each in an array of its own, which a caller may write to.
const char* GetCpuTypeString()
{
    static IdText text;
    return CopyCut(text, "SSE1");
}

const char* GetTargetEnvString()
{
    static IdText text;
    return CopyCut(text, LML_COMPILER);
}

const char* GetDevelopEnvString()
{
    static IdText text;
    return CopyCut(text, LML_COMPILER);
}

const char* GetCreateEnvString()
{
    static IdText text;
    return CopyCut(text, LML_COMPILER);
}

const char* GetPlatformString()
{
    static IdText text;
    return CopyCut(text, "X64");
}

CpuType GetCpuType()
{
    return CPU_SSE1;
}

Platform GetPlatform()
{
    return PLATFORM_X64;
}

// Kept: the three environment values are always DEVELOP_ENV_INTEL, whatever the compiler; only the texts tell which.
DevelopEnv GetTargetEnv()
{
    return DEVELOP_ENV_INTEL;
}

DevelopEnv GetDevelopEnv()
{
    return GetTargetEnv();
}

DevelopEnv GetCreateEnv()
{
    return GetTargetEnv();
}
} // namespace LumoraLib
