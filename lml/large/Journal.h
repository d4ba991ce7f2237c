// How far an operation has come: a small file beside the scratch file, for the call that goes on after a kill.
#ifndef LML_JOURNAL_H
#define LML_JOURNAL_H

#include "large/BlockFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace LumoraLib::detail
{
/// Collects what makes two calls the same work.
class Identity
{
public:
    void Add(const void* bytes, std::size_t count);
    void Add(const std::string& text) { Add(text.c_str(), text.size() + 1); }
    template <class Number>
    void AddNumber(Number number)
    {
        static_assert(sizeof number == 8);
        Add(&number, sizeof number);
    }
    std::uint64_t Value() const { return value_; }

private:
    std::uint64_t value_ = 14695981039346656037u; // FNV-1a
};

/// Adds which file this is and in which state: its place, length and time of change. False where there is none.
bool AddFile(Identity& identity, const std::string& path);

/// Rounds of a sweep that are done, counted when what they wrote is with the system: it survives the end of the
/// process. What a loss of power leaves is recognised by the system's start, which belongs to the identity.
class Journal
{
public:
    struct State
    {
        std::uint64_t sweep = 0;
        std::uint64_t rounds = 0;
    };
    /// Where an earlier call for the same work has come; the beginning where there is none.
    static State ReadState(const std::string& path, std::uint64_t identity);

    Journal() = default;
    /// Begins, or goes on, with a state. Ask IsOpen.
    Journal(const std::string& path, std::uint64_t identity, const State& state);
    bool IsOpen() const { return file_.IsOpen(); }
    /// True also for a journal that is not open: nothing is noted then.
    [[nodiscard]] bool Note(std::uint64_t sweep, std::uint64_t rounds);

private:
    BlockFile file_;
};
} // namespace LumoraLib::detail

#endif
