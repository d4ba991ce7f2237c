// How far an operation has come: a small file beside the scratch file, for the call that goes on after a kill.
#include "large/Journal.h"

#include "files/ByteIo.h"

#include <array>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LumoraLib::detail
{
namespace
{
struct Record
{
    std::array<char, 8> magic = {'L', 'M', 'L', 'J', 'R', 'N', '0', '1'};
    std::uint64_t identity = 0;
    std::uint64_t sweep = 0;
    std::uint64_t rounds = 0;
    std::uint64_t check = 0; ///< of the four before it: a record that is half written does not count
};
constexpr auto kRecord = MakeHead<40>(At(0, &Record::magic), At(8, &Record::identity), At(16, &Record::sweep),
                                      At(24, &Record::rounds), At(32, &Record::check));

std::uint64_t CheckOf(const Record& record)
{
    Identity identity;
    identity.Add(record.magic.data(), record.magic.size());
    identity.AddNumber(record.identity);
    identity.AddNumber(record.sweep);
    identity.AddNumber(record.rounds);
    return identity.Value();
}

bool WriteRecord(BlockFile& file, Record& record)
{
    record.check = CheckOf(record);
    decltype(kRecord)::Raw raw;
    PackHead(kRecord, record, raw.data());
    return file.WriteAt(0, raw.data(), raw.size());
}

/// A text that is another one after every start of the system.
void AddSystemStart(Identity& identity)
{
    char text[64] = {};
    const int descriptor = open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0)
    {
        const ssize_t got = read(descriptor, text, sizeof text);
        identity.Add(text, got > 0 ? static_cast<std::size_t>(got) : 0);
        close(descriptor);
    }
}

std::uint64_t WithStart(std::uint64_t identity)
{
    Identity whole;
    whole.AddNumber(identity);
    AddSystemStart(whole);
    return whole.Value();
}
} // namespace

void Identity::Add(const void* bytes, std::size_t count)
{
    const unsigned char* const from = static_cast<const unsigned char*>(bytes);
    for (std::size_t n = 0; n < count; ++n)
        value_ = (value_ ^ from[n]) * 1099511628211u;
}

bool AddFile(Identity& identity, const std::string& path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0)
        return false;
    for (const std::int64_t number :
         {static_cast<std::int64_t>(info.st_dev), static_cast<std::int64_t>(info.st_ino),
          static_cast<std::int64_t>(info.st_size), static_cast<std::int64_t>(info.st_mtim.tv_sec),
          static_cast<std::int64_t>(info.st_mtim.tv_nsec)})
        identity.AddNumber(number);
    return true;
}

Journal::State Journal::ReadState(const std::string& path, std::uint64_t identity)
{
    BlockFile file(path.c_str(), BlockFile::Read);
    decltype(kRecord)::Raw raw;
    if (!file.IsOpen() || !file.ReadAt(0, raw.data(), raw.size()))
        return {};
    Record record;
    UnpackHead(kRecord, raw.data(), record);
    const bool good =
        record.magic == Record().magic && record.check == CheckOf(record) && record.identity == WithStart(identity);
    return good ? State{record.sweep, record.rounds} : State{};
}

Journal::Journal(const std::string& path, std::uint64_t identity, const State& state)
    : file_(path.c_str(), BlockFile::Keep)
{
    Record record;
    record.identity = WithStart(identity);
    record.sweep = state.sweep;
    record.rounds = state.rounds;
    if (file_.IsOpen() && !WriteRecord(file_, record))
        static_cast<void>(file_.Close());
}

bool Journal::Note(std::uint64_t sweep, std::uint64_t rounds)
{
    if (!file_.IsOpen())
        return true;
    decltype(kRecord)::Raw raw;
    Record record;
    if (!file_.ReadAt(0, raw.data(), raw.size()))
        return false;
    UnpackHead(kRecord, raw.data(), record);
    record.sweep = sweep;
    record.rounds = rounds;
    return WriteRecord(file_, record);
}
} // namespace LumoraLib::detail
