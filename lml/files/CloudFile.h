// What the readers of point clouds share: a stream that is read in lines and records, numbers in text, failures, and
// the random numbers of clouds.
#ifndef LML_CLOUDFILE_H
#define LML_CLOUDFILE_H

#include "LmlCloud.h"
#include "base/Progress.h"
#include "files/ByteIo.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LumoraLib::detail
{
/// An open cloud file. Every failure ends in Error(ERR_FILE_READ, function, "<path> : <reason>").
class CloudStream
{
public:
    CloudStream(const char* path, const char* function);

    /// The next line without its end (line feed, with or without carriage return); false behind the last one. The text
    /// stays valid until the next call.
    bool NextLine(std::string_view& line);
    /// Exactly `bytes` bytes.
    void Read(void* to, std::size_t bytes);
    /// Leaves out so many bytes that must be there.
    void Skip(std::uint64_t bytes);
    /// Goes back to the first byte.
    void Rewind();
    /// Bytes from here to the end.
    std::uint64_t Remaining();
    /// Bytes read so far go to the progress handler, now and then.
    void Tick()
    {
        if (progress_.IsWatched() && ++ticks_ % 4096 == 0)
            Report();
    }

    // Failures take no memory: there may be none.
    [[noreturn]] void Fail(const char* reason) const { Fail(ERR_FILE_READ, reason); }
    [[noreturn]] void Fail(ErrorCode code, const char* reason) const;
    /// In front of the reason the number of the line read last, or another item and its number.
    [[noreturn]] void FailInLine(const char* reason) const { FailAt("line", lines_, reason); }
    [[noreturn]] void FailAt(const char* item, std::uint64_t number, const char* reason) const;

private:
    void Report();

    const char* path_;
    const char* function_;
    File file_;
    Progress progress_;
    std::string line_;
    std::uint64_t lines_ = 0;
    std::uint64_t ticks_ = 0;
};

/// Words of a line, separated by blanks and tabs.
class Words
{
public:
    explicit Words(std::string_view text) : rest_(text) {}
    /// The next word; empty behind the last one.
    std::string_view Next();

private:
    std::string_view rest_;
};

/// The whole word as a number, with a decimal point in every locale; false for anything else and for what does not fit.
bool ParseNumber(std::string_view word, double& value);

/// Random numbers of clouds: a 64-bit counter behind a mixing function.
class CloudRandom
{
public:
    explicit CloudRandom(std::uint64_t seed) : state_(seed) {}
    std::uint64_t Next()
    {
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    /// Uniform from 0 to below 1, in steps of 2^-53.
    double Uniform() { return static_cast<double>(Next() >> 11) * 0x1p-53; }

private:
    std::uint64_t state_;
};
} // namespace LumoraLib::detail

#endif
