// A growing array of unsigned int that makes room in steps and never gives it back: a table for one frame after
// another.
#pragma once

#include <memory>

namespace kestrova {

class KesUIntVector
{
public:
    KesUIntVector(unsigned nCapacity, unsigned nIncrement);
    KesUIntVector(const KesUIntVector&) = delete;
    KesUIntVector& operator=(const KesUIntVector&) = delete;
    virtual ~KesUIntVector() = default;

    /** Leaves no entry in use; the room stays. */
    void clear() { m_nSize = 0; }
    /** Makes room for n entries, in whole increments. Entries in use keep their values and their number. */
    void resize(unsigned n);
    /** Sets the number of entries in use, within the room; the writer of new ones fills them through data(). */
    void use(unsigned n) { m_nSize = n; }

    [[nodiscard]] unsigned size() const { return m_nSize; }
    [[nodiscard]] unsigned capacity() const { return m_nCapacity; }
    [[nodiscard]] unsigned* data() { return m_pnData.get(); }
    [[nodiscard]] const unsigned* data() const { return m_pnData.get(); }
    [[nodiscard]] unsigned& operator[](unsigned n) { return m_pnData[n]; }

private:
    std::unique_ptr<unsigned[]> m_pnData;
    unsigned m_nSize = 0;
    unsigned m_nCapacity;
    unsigned m_nIncrement;
};

} // namespace kestrova
