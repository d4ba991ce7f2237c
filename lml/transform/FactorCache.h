// Factors of transfer functions kept between calls, for propagations that are done again and again over one distance.
#ifndef LML_FACTORCACHE_H
#define LML_FACTORCACHE_H

#include "simd/WidePhase.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// All that a table of factors depends on, word by word. Numbers count by their bits.
class FactorKey
{
public:
    void Add(std::size_t word) { words_[count_++] = word; }
    void Add(double number) { Add(static_cast<std::size_t>(std::bit_cast<std::uint64_t>(number))); }
    void Add(const PhaseForm& form)
    {
        Add(static_cast<std::size_t>(form.kind));
        for (const double p : form.p)
            Add(p);
    }
    bool operator==(const FactorKey& other) const = default;

private:
    std::array<std::size_t, 32> words_{};
    std::size_t count_ = 0;
};

/// The use of a table for one pass: one that is there, or one to be filled, or none. Tables are made for what comes a
/// second time, so that distances that never do cost nothing; the one used longest ago makes room. Nothing fails: where
/// there is no memory there is no table. From any thread.
class FactorLease
{
public:
    FactorLease(const FactorKey& key, std::size_t floats);
    ~FactorLease();
    FactorLease(const FactorLease&) = delete;
    FactorLease& operator=(const FactorLease&) = delete;

    /// Aligned to 64 bytes; null: none.
    float* Table() const { return table_; }
    /// Whether it holds the factors. If not, the pass writes them, and Keep() says that it has.
    bool IsFilled() const { return filled_; }
    void Keep();

private:
    int slot_ = -1;
    float* table_ = nullptr;
    bool filled_ = false;
};
} // namespace LumoraLib::detail

#endif
