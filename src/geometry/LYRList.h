// A growing array of untyped pointers. It never owns what they point to.
#pragma once

#include <vector>

namespace kestrova {

class LYRList
{
public:
    static constexpr int sk_nDefaultCapacity = 1000;
    static constexpr int sk_nDefaultGrowBy = 1000;

    explicit LYRList(int nCapacity = sk_nDefaultCapacity, int nGrowBy = sk_nDefaultGrowBy);
    LYRList(const LYRList&) = default;
    LYRList& operator=(const LYRList&) = default;
    virtual ~LYRList() = default;

    /**
     * Appends; returns the new index, or -1 for null. A full list grows by its step or by half, whichever is more, and
     * doubles when the step is below 1.
     */
    int addElement(void* pElement);
    /**
     * False when out of range. An ordered list closes the hole by moving its tail down, any other by moving its last
     * element into it.
     */
    bool removeElementAt(int nIndex);
    /** First index that holds the pointer, else -1. */
    [[nodiscard]] int indexOf(const void* pElement) const;
    /** Null when out of range. */
    [[nodiscard]] void* elementAt(int nIndex) const { return contains(nIndex) ? m_elements[nIndex] : nullptr; }
    /** Size 0; the memory stays for the next elements. */
    void empty() { m_elements.clear(); }
    [[nodiscard]] bool getOrdered() const { return m_bOrdered; }
    void setOrdered(bool bOrdered) { m_bOrdered = bOrdered; }
    [[nodiscard]] int size() const { return static_cast<int>(m_elements.size()); }
    /** Gives memory beyond the last element back. */
    void trim() { m_elements.shrink_to_fit(); }

private:
    [[nodiscard]] bool contains(int nIndex) const { return nIndex >= 0 && nIndex < size(); }

    std::vector<void*> m_elements;
    int m_nGrowBy;
    bool m_bOrdered = true;
};

} // namespace kestrova
