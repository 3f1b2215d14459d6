// A caller's memory that ends the program on the first byte read or written beside it: pages without access lie on both
// sides, and the bytes between the block and the farther one are looked at when it goes.
#pragma once

#include "reliability/Random.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kestrova::test {

class GuardedBlock
{
public:
    enum class Edge
    {
        Front, // the first byte follows the pages without access
        Back   // they follow the last byte
    };

    GuardedBlock(std::size_t uBytes, Edge eEdge, std::size_t uAlignment = 1)
        : m_uPage(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))), m_uBytes(uBytes),
          m_uUsable((uBytes + m_uPage - 1) / m_uPage * m_uPage + (uBytes == 0 ? m_uPage : 0))
    {
        void* const p = ::mmap(nullptr, m_uUsable + 2 * m_uPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_pUsable = static_cast<unsigned char*>(p) + m_uPage;
        if (p == MAP_FAILED || ::mprotect(m_pUsable, m_uUsable, PROT_READ | PROT_WRITE) != 0) {
            std::perror("GuardedBlock");
            std::abort();
        }
        std::fill_n(m_pUsable, m_uUsable, sk_ucSlack);
        m_pData = eEdge == Edge::Front ? m_pUsable : m_pUsable + (m_uUsable - uBytes) / uAlignment * uAlignment;
    }
    GuardedBlock(const GuardedBlock&) = delete;
    GuardedBlock& operator=(const GuardedBlock&) = delete;
    ~GuardedBlock()
    {
        for (unsigned char* p = m_pUsable; p < m_pUsable + m_uUsable; ++p) {
            if ((p < m_pData || p >= m_pData + m_uBytes) && *p != sk_ucSlack) {
                std::fprintf(stderr, "written %td bytes from the start of a caller's block of %zu\n", p - m_pData,
                             m_uBytes);
                std::abort();
            }
        }
        ::munmap(m_pUsable - m_uPage, m_uUsable + 2 * m_uPage);
    }

    /** From now on the library may read it only. */
    void seal() { ::mprotect(m_pUsable, m_uUsable, PROT_READ); }

    template<class T = unsigned char>
    [[nodiscard]] T* as() const
    {
        return reinterpret_cast<T*>(m_pData);
    }
    [[nodiscard]] std::size_t size() const { return m_uBytes; }

private:
    static constexpr unsigned char sk_ucSlack = 0xC3;

    std::size_t m_uPage;
    std::size_t m_uBytes;
    std::size_t m_uUsable;
    unsigned char* m_pUsable;
    unsigned char* m_pData;
};

using Block = std::shared_ptr<GuardedBlock>;

/** Random bytes with no access beside them. */
inline Block makeBlock(Random& rRandom, std::size_t uBytes, std::size_t uAlignment = 1)
{
    const auto eEdge = rRandom.oneIn(3) ? GuardedBlock::Edge::Front : GuardedBlock::Edge::Back;
    auto pBlock = std::make_shared<GuardedBlock>(uBytes, eEdge, uAlignment);
    for (std::size_t i = 0; i < uBytes; i += 8) {
        std::uint64_t u = rRandom.next();
        for (std::size_t j = i; j < uBytes && j < i + 8; ++j, u >>= 8) {
            pBlock->as()[j] = static_cast<unsigned char>(u);
        }
    }
    return pBlock;
}

} // namespace kestrova::test
