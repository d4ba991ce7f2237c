// Factors of transfer functions kept between calls.
#include "transform/FactorCache.h"

#include "LmlRuntime.h"
#include "base/Memory.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace LumoraLib
{
namespace
{
// Seven grids of 2048 by 2048 samples without a band limit: a quarter of their factors is kept.
constexpr std::size_t kDefault = std::size_t{64} << 20;

struct Entry
{
    detail::FactorKey key;
    float* table = nullptr; // null: the slot is free
    std::size_t bytes = 0;
    std::uint64_t used = 0; // the count of leases at the last one
    int users = 0;
    bool filled = false;
};

std::mutex mutex; // for all of these
std::size_t most = kDefault;
std::size_t total = 0;
std::uint64_t leases = 0;
std::array<Entry, 64> entries;
// Keys that came without a table, in a ring: the second time within it they get one.
std::array<detail::FactorKey, 16> seen;
std::size_t seenNext = 0;

void Drop(Entry& entry)
{
    std::free(entry.table);
    total -= entry.bytes;
    entry.table = nullptr;
    entry.bytes = 0;
}

/// Drops the table that nobody uses and nobody has used for longest; false where there is none.
bool DropOldest()
{
    Entry* oldest = nullptr;
    for (Entry& entry : entries)
        if (entry.table != nullptr && entry.users == 0 && (oldest == nullptr || entry.used < oldest->used))
            oldest = &entry;
    if (oldest != nullptr)
        Drop(*oldest);
    return oldest != nullptr;
}

/// Brings the tables and `more` bytes within the limit.
bool MakeRoom(std::size_t more)
{
    while (total + more > most)
        if (!DropOldest())
            return false;
    return true;
}

/// The slot of a key, or a free one, or null.
Entry* Find(const detail::FactorKey& key)
{
    Entry* place = nullptr;
    for (Entry& entry : entries)
    {
        if (entry.table == nullptr)
            place = &entry;
        else if (entry.key == key)
            return &entry;
    }
    return place;
}

/// Whether the key came lately; remembers it otherwise.
bool CameBefore(const detail::FactorKey& key)
{
    if (std::find(seen.begin(), seen.end(), key) != seen.end())
        return true;
    seen[seenNext] = key;
    seenNext = (seenNext + 1) % seen.size();
    return false;
}
} // namespace

void SetPropagationCache(std::size_t bytes)
{
    const std::lock_guard<std::mutex> lock(mutex);
    most = bytes;
    static_cast<void>(MakeRoom(0));
}

std::size_t GetPropagationCache()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return most;
}

namespace detail
{
FactorLease::FactorLease(const FactorKey& key, std::size_t floats)
{
    const std::size_t bytes = floats * sizeof(float);
    const std::lock_guard<std::mutex> lock(mutex);
    if (bytes == 0 || bytes > most)
        return;
    Entry* place = Find(key);
    if (place != nullptr && place->table != nullptr && !place->filled) // another thread is about it
        return;
    if (place == nullptr || place->table == nullptr)
    {
        if (!CameBefore(key) || !MakeRoom(bytes) || (place == nullptr && !DropOldest()))
            return;
        void* const table = AlignedBlock(bytes);
        if (table == nullptr)
            return;
        place = Find(key);
        *place = {.key = key, .table = static_cast<float*>(table), .bytes = bytes};
        total += bytes;
    }
    ++place->users;
    place->used = ++leases;
    slot_ = static_cast<int>(place - entries.data());
    table_ = place->table;
    filled_ = place->filled;
}

FactorLease::~FactorLease()
{
    if (slot_ < 0)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    Entry& entry = entries[static_cast<std::size_t>(slot_)];
    --entry.users;
    if (!entry.filled)
        Drop(entry);
    static_cast<void>(MakeRoom(0)); // the limit may have come down meanwhile
}

void FactorLease::Keep()
{
    if (slot_ < 0)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    entries[static_cast<std::size_t>(slot_)].filled = true;
}
} // namespace detail
} // namespace LumoraLib
