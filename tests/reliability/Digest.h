// One number for everything that a run of calls gave.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace kestrova::test {

class Digest
{
public:
    /** Numbers by their bits; a NaN counts as any other, since which one it is depends on the compiler. */
    template<class T>
    void add(T value)
    {
        if constexpr (std::is_floating_point_v<T>) {
            mix(std::isnan(value) ? 0x7FF8U : std::bit_cast<std::uint64_t>(static_cast<double>(value)));
        } else {
            mix(static_cast<std::uint64_t>(value));
        }
    }
    void add(const void* pBytes, std::size_t uBytes)
    {
        const auto* p = static_cast<const unsigned char*>(pBytes);
        for (; uBytes >= 8; uBytes -= 8, p += 8) {
            std::uint64_t u;
            std::memcpy(&u, p, 8);
            mix(u);
        }
        for (; uBytes > 0; --uBytes, ++p) {
            mix(*p);
        }
    }
    void add(std::string_view text) { add(text.data(), text.size()); }
    [[nodiscard]] std::uint64_t value() const { return m_uValue; }

private:
    void mix(std::uint64_t u) { m_uValue = std::rotl((m_uValue ^ u) * 0x9E3779B97F4A7C15U, 23) + 1; }

    std::uint64_t m_uValue = 0;
};

} // namespace kestrova::test
