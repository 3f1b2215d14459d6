// Numbers from a seed, the same on every machine and with every standard library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>

namespace kestrova::test {

class Random
{
public:
    explicit Random(std::uint64_t uSeed) : m_uState(uSeed) {}

    std::uint64_t next()
    {
        m_uState += 0x9E3779B97F4A7C15U;
        std::uint64_t u = m_uState;
        u = (u ^ (u >> 30)) * 0xBF58476D1CE4E5B9U;
        u = (u ^ (u >> 27)) * 0x94D049BB133111EBU;
        return u ^ (u >> 31);
    }
    int between(int nLow, int nHigh)
    {
        return nLow + static_cast<int>(next() % static_cast<std::uint64_t>(nHigh - nLow + 1));
    }
    bool oneIn(int n) { return between(1, n) == 1; }
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    template<class Values>
    auto pick(const Values& rValues)
    {
        return *std::next(std::begin(rValues), between(0, static_cast<int>(std::size(rValues)) - 1));
    }
    template<class T>
    T pick(std::initializer_list<T> values)
    {
        return *(values.begin() + between(0, static_cast<int>(values.size()) - 1));
    }

private:
    std::uint64_t m_uState;
};

} // namespace kestrova::test
