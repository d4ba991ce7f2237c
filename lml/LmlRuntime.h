// Runtime frame: errors, log, memory, time, identification of the build, threads and the choice of the FFT engine.
#ifndef LML_LMLRUNTIME_H
#define LML_LMLRUNTIME_H

#include "LmlApi.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>

#if defined(__GNUC__) || defined(__clang__)
/// Lets the compiler check printf-like calls: `fmt` and `args` are the 1-based places of the format and its arguments.
#define LML_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))
#else
/// Nothing: the compiler does not check such calls.
#define LML_PRINTF_LIKE(fmt, args)
#endif

/// Everything public of the library, and of its component for pictures. `detail` is none of it.
namespace LumoraLib
{

// ---------------------------------------------------------------------------------------------------------------
// Errors                                                                                             (Runtime.cpp)
// ---------------------------------------------------------------------------------------------------------------

// The one way of every failure: Error() ends the process with a message, or throws, as SetErrorHandling() says.

/// Codes of the failures; GetErrorString() gives the text of each.
enum ErrorCode : std::int32_t
{
    ERR_NONE = 0,                  ///< "No error"
    ERR_MEMORY = 1,                ///< "Not enough memory"
    ERR_FILE_OPEN = 2,             ///< "File Not open"
    ERR_PARAMETER = 3,             ///< "Parameter invalid"
    ERR_FILE_WRITE = 4,            ///< "File write"
    ERR_FILE_READ = 5,             ///< "File read"
    ERR_SOMETHING = 6,             ///< "Something wrong"
    ERR_COMPLEX_FORM = 7,          ///< "Invalid complex form"
    ERR_SPECTRUM_OR_AMPLITUDE = 8, ///< "Require Spectrum/CompAmp"
    ERR_INTERNAL = 9               ///< "Internal error"
};

/// What Error() does. Every value other than 0 throws.
enum ErrorHandling : std::int32_t
{
    ERROR_HANDLING_EXIT = 0, ///< print the failure to log and console, end the process with exit code 1 (at load)
    ERROR_HANDLING_THROW = 1 ///< throw a LumoraException
};

/// The object that Error() throws, by value, when the error handling is not ERROR_HANDLING_EXIT.
/// Texts longer than the arrays are cut at their end; the arrays are always terminated. Null texts count as empty.
/// It can be caught as std::exception, and one that nobody catches ends the program with what() on its console.
class LML_API LumoraException : public std::exception
{
public:
    /// Stores the code and copies of the three texts.
    LumoraException(ErrorCode code, const char* funcname, const char* systemMessage, const char* userMessage);
    /// Member by member.
    LumoraException(const LumoraException&) = default;
    LumoraException& operator=(const LumoraException& other);
    ~LumoraException() override = default;

    /// Operation, code and texts in one line of UTF-8: "LumoraLib::Start: File Not open (code 2): no/such/folder/log".
    /// Messages of the library that are Shift-JIS are converted; other bytes that are not UTF-8 stand as '?'.
    /// The text stands in one of four buffers of the calling thread, used in turn: it holds until this thread has asked
    /// for four more. No memory is asked for.
    const char* what() const noexcept override;

    /// The ErrorCode value.
    int GetErrorCode() const { return errorCode_; }
    /// Full name of the operation that failed, such as "LumoraLib::Lumora::Init": at most 127 characters.
    char* GetFuncname() { return funcname_; }
    const char* GetFuncname() const { return funcname_; }
    /// Detail given by the operation, possibly empty: at most 127 characters.
    char* GetUserMessage() { return userMessage_; }
    const char* GetUserMessage() const { return userMessage_; }
    /// Text of the code, as GetErrorString() gives it: at most 31 characters.
    char* GetSystemMessage() { return systemMessage_; }
    const char* GetSystemMessage() const { return systemMessage_; }

private:
    int errorCode_;
    char systemMessage_[32];
    char userMessage_[128];
    char funcname_[128];
};

/// Reports a failure and never returns. With ERROR_HANDLING_EXIT it prints, through Printf(), three lines with the
/// version, `funcname`, the text of `code` and `message`, and ends the process with exit code 1; with any other
/// setting it throws a LumoraException and prints nothing.
/// @param code      what went wrong
/// @param funcname  full name of the operation, with namespace and class
/// @param message   detail; may be empty
[[noreturn]] LML_API void Error(ErrorCode code, const char* funcname, const char* message);

/// Text of an error code. A value outside the enumeration gives "Unknown error".
LML_API const char* GetErrorString(ErrorCode code);

/// What happened, with which values, and what to change, in UTF-8: what() of the failure, then, where the operation
/// compared or refused values, those values, then the cure. "LumoraLib::Lumora::ShiftedAsmProp: Parameter invalid
/// (code 3): at least one parameter is different. The pitch in x is 4 um in this field and 8 um in the other one. Use
/// ShiftedFresnelProp, which takes any pitch, or bring the source to this pitch with ResamplingCopy first."
/// The values do not travel in the exception: the thread that failed keeps those of its last failure, so they are named
/// only for the last failure of the calling thread; for any other one the rest of the text is the same.
/// The text holds until the next call on this thread. No memory is asked for.
LML_API const char* DescribeError(const LumoraException& failure) noexcept;

/// Chooses between the printed and the thrown form of a failure, for the whole process.
LML_API void SetErrorHandling(ErrorHandling handling);
/// The value set last; ERROR_HANDLING_EXIT at load.
LML_API ErrorHandling GetErrorHandling();

// ---------------------------------------------------------------------------------------------------------------
// Memory                                                                                             (Runtime.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Aligned memory, as samples have it.

/// Memory aligned to 64 bytes, not initialised; never null. A size of 0 gives a block that may only be freed.
/// @param size  bytes
/// @param what  short label for the error message; null stands as "(null)"
/// Errors: ERR_MEMORY, "LumoraLib::Malloc", "demanded bytes = <size> : <what>".
LML_API void* Malloc(std::size_t size, const char* what);
/// Releases what Malloc() gave. Null is allowed.
LML_API void Free(void* p);

// ---------------------------------------------------------------------------------------------------------------
// Log                                                                                                (Runtime.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Start of the library, lines for a log and the console, and reports of likely mistakes.

/// Starts the library: sets the thread count to 1, takes the base of GetTick(), opens the log and prints the first
/// line of the banner. Optional: without it text goes to the console alone and the tick base is 0.
/// @param path  file to append the log to; null opens none. The log stays open to the end of the process and is
///              flushed after each write; a log opened earlier is left open but no longer written.
/// Errors: ERR_FILE_OPEN, "LumoraLib::Start", the path; the log opened earlier, if any, then stays the log.
LML_API void Start(const char* path);
/// The same without a log file.
/// @param level  lines of the banner: 0 or less none, 1 the first, 2 the first two, 3 or more all three
LML_API void Start(int level);
/// The same with both choices. Errors: as Start(const char*).
LML_API void Start(int level, const char* path);

/// Formatted text to the log, if one is open, and then to the standard error stream; both are flushed. At most 319
/// characters are written, the rest is cut. Numbers are written with a decimal point in every locale; wide texts are
/// written in the encoding of the process's locale. A log that
/// cannot be written (full disk) is no failure: the console still gets the text.
LML_API void Printf(const char* format, ...) LML_PRINTF_LIKE(1, 2);
/// As Printf(), behind the CPU seconds since Start(): "00000.000s>".
LML_API void PrintL(const char* format, ...) LML_PRINTF_LIKE(1, 2);
/// As Printf(), behind a line with the CPU seconds since Start() and the local date and time.
/// The month in that line counts from 0: November stands as 10.
LML_API void PrintLog(const char* format, ...) LML_PRINTF_LIKE(1, 2);
/// Takes one report of a likely mistake: a line of ASCII without its end.
using MistakeHandler = void (*)(const char* text);

/// Switches reports of what is legal and almost surely a mistake; off at load. No result changes. Reported are:
/// - fields combined sample by sample or by index (arithmetic of fields, Superimpose, Add, Multiply and the Resampling
///   members) whose domains, pitches, wavelengths or planes differ, as far as the operation does not refuse it;
/// - AsmProp, ExactAsmProp, AsmPropFs, and ShiftedAsmProp to a destination that overlaps the source sideways, when more
///   than half of the field's energy lies outside the band limit and is lost;
/// - point sources that stand in the plane of the field, whose field has a pitch below half a wavelength, or, for the
///   recurrence form, that lie on its negative side, and that add nothing (or infinite samples) for that reason;
/// - Fresnel, Fourier and shifted Fresnel propagation over distance zero;
/// - the rotations of spectra (so Rotate) when more than half of the light misses the destination's band and the rest
///   is scaled up to the source's energy;
/// - shifted propagation between tilted planes, whose lateral shifts are differences of global x and y.
/// The operation called is named; what it does inside is not reported again. Off, a check is one relaxed load. On,
/// the checks of the band limit transform a copy of the field: about the time of a propagation more, the memory of one
/// field (failing as Init does). May be called from any thread; it holds for the whole process.
LML_API void SetMistakeReports(bool on);
/// Whether the reports are on.
LML_API bool GetMistakeReports();
/// Who gets the reports: null, as at load, for Printf(), which writes "*** CHECK: <text>" to log and console. The
/// handler runs on the thread of the operation, before the operation has touched a field or in the middle of it: it
/// must not throw and must not use the fields involved.
LML_API void SetMistakeHandler(MistakeHandler handler);

/// The stream of the log, or null. It belongs to the library: do not close it.
LML_API std::FILE* GetLogFile();

// ---------------------------------------------------------------------------------------------------------------
// Time                                                                                               (Runtime.cpp)
// ---------------------------------------------------------------------------------------------------------------

// CPU time since the start, and a watch that adds it up.

/// CPU time of the process since the last Start(), in milliseconds. All threads count, so it can run faster than a
/// wall clock.
LML_API std::int64_t GetTick();
/// The same in seconds.
LML_API double GetTickSec();

/// Adds up the CPU time of the stretches between Start() and Stop(). Ticks are 32-bit milliseconds: a measurement
/// is valid up to about 24 days of CPU time.
class LML_API StopWatch
{
public:
    /// A watch at zero, not running.
    StopWatch() = default;
    StopWatch(const StopWatch&) = default;
    StopWatch& operator=(const StopWatch&) = default;
    ~StopWatch() = default;

    /// Back to zero, not running.
    void Reset();
    /// Starts, or goes on after Stop(). Does nothing on a running watch.
    void Start();
    /// Stops a running watch; does nothing on one that does not run.
    void Stop();
    /// Seconds measured so far, also while running; 0.0 after Reset().
    double Read() const;

private:
    double read(std::int32_t now) const;

    std::int32_t state_ = 0; // 0 reset, 1 running, 2 stopped
    std::int32_t startTick_ = 0;
    std::int32_t pausedTicks_ = 0;
    std::int32_t stopTick_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Identification of the build. Each text lives in a static buffer of its own that every call refills. (Runtime.cpp)
// ---------------------------------------------------------------------------------------------------------------

/// Instruction set that the library needs at least.
enum CpuType : std::int32_t
{
    CPU_SSE1 = 1 ///< "SSE1"
};

/// Family of the compiler; the text functions give the name of the compiler that really built the library.
enum DevelopEnv : std::int32_t
{
    DEVELOP_ENV_INTEL = 1 ///< the only value
};

/// Platform that the library was built for.
enum Platform : std::int32_t
{
    PLATFORM_X64 = 2 ///< "X64"
};

/// "<major>.<minor>.<patch>" with two digits for the last two, such as "2.81.03".
LML_API const char* GetVersionString();
LML_API int GetMajorVersion(); ///< First number of the version.
LML_API int GetMinorVersion(); ///< Second number of the version.
LML_API int GetPatchNumber();  ///< Third number of the version.
/// Date and time of the build, such as "Nov 16 2010 11:51:43".
LML_API const char* GetCreateTimeStamp();
/// Version of the build environment, "11.00". It is a constant of the interface, not the compiler's version.
LML_API const char* GetCreateEnvVersionString();
LML_API const char* GetCpuTypeString();    ///< "SSE1"
LML_API CpuType GetCpuType();              ///< CPU_SSE1
LML_API const char* GetTargetEnvString();  ///< Name of the compiler, such as "GCC 12.2.0".
LML_API DevelopEnv GetTargetEnv();         ///< DEVELOP_ENV_INTEL
LML_API const char* GetDevelopEnvString(); ///< As GetTargetEnvString().
LML_API DevelopEnv GetDevelopEnv();        ///< DEVELOP_ENV_INTEL
LML_API const char* GetCreateEnvString();  ///< As GetTargetEnvString().
LML_API DevelopEnv GetCreateEnv();         ///< DEVELOP_ENV_INTEL
LML_API const char* GetPlatformString();   ///< "X64"
LML_API Platform GetPlatform();            ///< PLATFORM_X64

// ---------------------------------------------------------------------------------------------------------------
// Instruction set of the wide loops                                                                      (Isa.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Which vectors the loops run with; shown and limited.

/// The builds of the wide loops, in rising width: 4, 8 and 16 samples of single precision at a time.
enum InstructionSet : std::int32_t
{
    INSTRUCTION_SET_SSE2 = 0,  ///< what every 64-bit x86 has
    INSTRUCTION_SET_AVX2 = 1,  ///< AVX2
    INSTRUCTION_SET_AVX512 = 2 ///< AVX-512 F, DQ, BW and VL
};

/// What the wide loops run with: the lower of the processor's and the limit. It changes speed; samples are the same,
/// but for the last place of sines, cosines and transforms before the rounding to float.
LML_API InstructionSet GetInstructionSet();
/// "SSE2", "AVX2" or "AVX-512", for GetInstructionSet().
LML_API const char* GetInstructionSetString();
/// What the processor and the operating system allow, whatever the limit.
LML_API InstructionSet GetProcessorInstructionSet();
/// Limits the wide loops from the next operation on, for the whole process; not for use during an operation. Values
/// below the list count as its first, values above it, and above the processor's, lift the limit. Until the first call
/// the environment variable LML_ISA says it: "sse2", "avx2" or "avx512"; any other text limits nothing.
LML_API void SetInstructionSet(InstructionSet limit);

// ---------------------------------------------------------------------------------------------------------------
// Threads. One count for all parallel loops of the library; 1 at load and after Start().             (Threads.cpp)
// ---------------------------------------------------------------------------------------------------------------

// The loops run on a team: the calling thread and workers of the library's own, started when a loop first needs them,
// one less than the count and no more than there are other processors, and kept. A worker that waits sleeps after some
// microseconds. What a worker has not begun when the caller is through with its own share, the caller does: with a
// processor taken by another program two threads are about as fast as one.
// - Where the system refuses a thread, loops run on those that are there; no Error() is called.
// - A thread of a program's own parallel region may use the library, one at a time (inside `single` or `master`): the
//   loops then run on that thread alone, with the same samples. So do those of a thread while another has the team.
// - A child of fork() has workers of its own. Workers block all signals. Where the OpenMP runtime binds threads to
//   places (OMP_PROC_BIND), the workers are bound to the places that follow the caller's.
// - Floating-point modes. All arithmetic assumes the modes that a process starts with: rounding to nearest, subnormal
//   numbers neither flushed to zero nor read as zero. The library does not set or check them; workers take those of
//   the caller. Who needs another mode, or loads a library that sets one (builds with fast-math do that at load),
//   restores the default around calls of this one.

/// Sets the number of threads of every parallel loop that starts from now on; not for use during an operation. At most
/// 1024: a larger n counts as that, and GetNumThreads() says so.
/// Errors: ERR_PARAMETER, "LumoraLib::SetNumThreads", "" if n is below 1; the count then stays.
LML_API void SetNumThreads(int n);
/// Sets the count to the number of processors, at most 1024.
LML_API void SetNumThreads();
/// The count.
LML_API int GetNumThreads();
/// Processors that the OpenMP runtime reports.
LML_API int GetNumProcs();
/// Saves the count and sets n, at most 1024 as SetNumThreads(int). 33 saved counts fit.
/// Errors: ERR_SOMETHING, "LumoraLib::PushNumThreads", "Stack size over"; for an n below 1 as SetNumThreads(), and
/// then the count is saved but unchanged.
LML_API void PushNumThreads(int n);
/// Saves the count and sets the number of processors. Errors: as PushNumThreads(int).
LML_API void PushNumThreads();
/// Sets the count saved last, forgets it, and returns it.
/// Errors: ERR_SOMETHING, "LumoraLib::PopNumThreads", "Stack size under" if none is saved.
LML_API int PopNumThreads();
/// PopNumThreads() under another name, also in its error: "LumoraLib::PullNumThreads".
LML_API int PullNumThreads();
/// Passes the flag on to the OpenMP runtime (and to a vendor FFT library, if one is in use). The library's own loops
/// are not changed by it.
LML_API void SetDynamicThreads(bool dynamic);
/// The flag set last; true at load, whatever the OpenMP runtime's own setting is.
LML_API bool GetDynamicThreads();

// ---------------------------------------------------------------------------------------------------------------
// Progress and cancellation of long operations                                                      (Progress.cpp)
// ---------------------------------------------------------------------------------------------------------------

// A function of the program that is told how far an operation is, and may end it.

/// What a long operation calls while it works, on the thread that called the operation and at most 20 times a second;
/// short operations may never call it.
/// @param context    the pointer given to SetProgressHandler()
/// @param operation  full name of the operation, such as "LumoraLib::Lumora::ShiftedAsmPropEx"; of operations inside
///                   operations the outermost
/// @param done       finished part of the work, from 0 to `total`, not falling within one operation
/// @param total      the whole work, in units of the operation (samples, points, bytes); the same in all calls of one
///                   operation. A last call with done = total is not promised.
/// @return false to cancel: the operation ends in Error(ERR_SOMETHING, operation, "cancelled"), so set
///         ERROR_HANDLING_THROW where the program is to go on. Files are closed and memory is given back. What the
///         operation writes to is as its documentation says; where that is silent, samples are undefined, and sizes and
///         memory are sound.
///
/// The handler must not call operations of the library on a field that takes part in the operation; operations that it
/// calls on other objects report no progress. An exception that it throws ends the operation as a cancellation does and
/// reaches the caller unchanged, whatever the error handling.
using ProgressHandler = bool (*)(void* context, const char* operation, std::int64_t done, std::int64_t total);

/// Sets the handler of all long operations that start from now on; null, the value at load, for none. The first call
/// comes at the first occasion. Not for use while an operation runs on another thread. Operations that call it, between
/// tiles, planes, passes over the samples, rows or pieces of files: Fft(), all propagations of fields of both axes,
/// PropagateStack() and MeasureStack(), ScaledFft() and RawScaledFft(), the rotations, AddPointCloud(),
/// EncodeErrorDiffusion(), RetrievePhase(), loading of LM, LW, DE, CSV and NPY files, saving of PTF files and of LM
/// files above 16 MiB, LoadPointCloud() and SavePointCloud().
LML_API void SetProgressHandler(ProgressHandler handler, void* context);

// ---------------------------------------------------------------------------------------------------------------
// Choice of the FFT engine                                                                               (Fft.cpp)
// ---------------------------------------------------------------------------------------------------------------

// The engine behind all transforms.

/// The engines behind Lumora::Fft(). Both compute the same transforms; they differ in rounding and speed.
enum FftLib : std::int32_t
{
    FFT_LIB_SPLIT_RADIX = 0, ///< the library's own split-radix engine, one thread
    FFT_LIB_VENDOR = 1       ///< the fast engine: a vendor's library where built in, else the library's own wide one
};

/// Chooses the engine of all transforms that follow; every value other than 0 stands for FFT_LIB_VENDOR's engine.
/// The thread count is not passed on to a vendor library by this call; the next SetNumThreads() does that.
LML_API void SetFftLib(FftLib lib);
/// The value set last; FFT_LIB_VENDOR at load.
LML_API FftLib GetFftLib();

// ---------------------------------------------------------------------------------------------------------------
// Factors kept between propagations                                                              (FactorCache.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Memory for the factors of propagations that come again.

/// Sets the most memory, in bytes, for factors of transfer functions that propagations by the spectrum (AsmProp,
/// RawAsmProp, ExactAsmProp, ShiftedAsmProp; not step by step) keep for later calls; 64 MiB at load, 0 keeps none and
/// gives back what is there. A table is made when a propagation comes with the same grid, pitches, wavelength and
/// distance a second time; the one unused for longest makes room for another. It takes two bytes a sample of the grid
/// that is transformed at most: a quarter of the spectrum, within the band. Samples are the same with and without, and
/// where there is no memory for a table there is none and no failure.
LML_API void SetPropagationCache(std::size_t bytes);
/// The number of bytes set last.
LML_API std::size_t GetPropagationCache();

} // namespace LumoraLib

#endif
