// One run of the program: exit codes, what all subcommands share, the progress bar, and the end by Ctrl-C.
#ifndef LMLCOMMAND_INVOCATION_H
#define LMLCOMMAND_INVOCATION_H

#include "Facts.h"

#include <LmlLarge.h>

#include <CLI/CLI.hpp>

#include <functional>
#include <stdexcept>
#include <string>

namespace command
{
// Exit codes; 128 + the signal's number when a signal ended the work (130 for Ctrl-C). They stand in the manual too.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1; // a file, memory, or what was asked for cannot be done
inline constexpr int kUsage = 2;  // the words of the command line
inline constexpr int kNo = 3; // the answer to a question is no: compare --tolerance, advise, a method that is refused

/// A failure of the program itself, with its cure, for one line.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
/// Values of options that do not go together, found after parsing: exit code 2.
class Misuse : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What was asked for is refused with good reason: exit code 3.
class Refused : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

class Invocation
{
public:
    /// Gives a subcommand, behind its own options, those that all share (--threads, --isa, --json, --quiet). When it is
    /// named, `work` runs with these in force and returns the exit code.
    void OnCall(CLI::App& app, std::function<int()> work);

    /// Runs what the command line named and prints its facts. Everything that goes wrong becomes one line and a code.
    int Run();

    bool HasWork() const { return static_cast<bool>(work_); }
    bool Json() const { return json_; }
    /// What the subcommand found out.
    Facts facts;
    /// The processes that run it together, or null. The first one alone prints; a signal ends them as it ends any job,
    /// without tidying up, so that an operation that keeps a journal can be resumed.
    LumoraLib::LargeRanks* ranks = nullptr;

private:
    void Begin() const;
    bool Prints() const { return ranks == nullptr || ranks->GetRank() == 0; }
    int Report(const std::string& text, int code) const;

    std::function<int()> work_;
    std::string name_;
    std::string isa_;
    int threads_ = 0;
    bool json_ = false;
    bool quiet_ = false;
};

/// Between steps that report no progress themselves: ends the work when a signal came.
void CheckForSignal();

/// The title of the progress bar from here on, such as "distance 12 of 40"; empty for the operation's own name.
void SetProgressTitle(const std::string& title);
} // namespace command

#endif
