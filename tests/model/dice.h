// dice.h - where the choices of a walk come from: a seed, or the bytes of a fuzzer.

#ifndef DICE_H
#define DICE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>

class Dice
{
public:
    virtual ~Dice() = default;

    /// 0 to \a n - 1; 0 where n is below 2.
    std::int32_t below(std::int32_t n) { return n < 2 ? 0 : std::int32_t(bits(std::uint32_t(n)) % std::uint32_t(n)); }
    /// \a low to \a high, both included.
    std::int32_t from(std::int32_t low, std::int32_t high) { return low + below(high - low + 1); }
    /// True in \a percent of all cases.
    bool chance(int percent) { return below(100) < percent; }
    template <typename T> T oneOf(std::initializer_list<T> values)
    {
        return values.begin()[below(std::int32_t(values.size()))];
    }

protected:
    /// Enough random bits to choose among \a choices.
    virtual std::uint32_t bits(std::uint32_t choices) = 0;
};

/// The same choices for the same seed on every machine.
class SeededDice : public Dice
{
public:
    explicit SeededDice(std::uint64_t seed) : m_state(seed) {}
    std::uint64_t next()
    {
        m_state += 0x9E3779B97F4A7C15u;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

protected:
    std::uint32_t bits(std::uint32_t) override { return std::uint32_t(next() >> 32); }

private:
    std::uint64_t m_state;
};

/// Choices read from bytes, as few of them as a choice needs; zeros when they are used up.
class ByteDice : public Dice
{
public:
    ByteDice(const std::uint8_t *bytes, std::size_t size) : m_bytes(bytes), m_left(size) {}
    bool usedUp() const { return m_left == 0; }

protected:
    std::uint32_t bits(std::uint32_t choices) override
    {
        std::uint32_t value = 0;
        for (std::uint64_t reach = 1; reach < choices; reach *= 256)
            value = value * 256 + byte();
        return value;
    }

private:
    std::uint8_t byte()
    {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_bytes++;
    }
    const std::uint8_t *m_bytes;
    std::size_t m_left;
};

#endif
