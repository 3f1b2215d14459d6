#include "geometry/LYRList.h"

#include <algorithm>

namespace kestrova {

LYRList::LYRList(int nCapacity, int nGrowBy) : m_nGrowBy(nGrowBy)
{
    m_elements.reserve(static_cast<std::size_t>(std::max(0, nCapacity)));
}

int LYRList::addElement(void* pElement)
{
    if (pElement == nullptr) {
        return -1;
    }
    if (m_nGrowBy > 0 && m_elements.size() == m_elements.capacity()) {
        // The step, but at least half as much again: by steps alone a large list would copy itself for every one.
        const std::size_t uStep = std::max(static_cast<std::size_t>(m_nGrowBy), m_elements.capacity() / 2);
        m_elements.reserve(m_elements.capacity() + uStep);
    }
    m_elements.push_back(pElement); // doubles by itself
    return size() - 1;
}

bool LYRList::removeElementAt(int nIndex)
{
    if (!contains(nIndex)) {
        return false;
    }
    if (m_bOrdered) {
        m_elements.erase(m_elements.begin() + nIndex);
    } else {
        m_elements[nIndex] = m_elements.back();
        m_elements.pop_back();
    }
    return true;
}

int LYRList::indexOf(const void* pElement) const
{
    const auto found = std::find(m_elements.begin(), m_elements.end(), pElement);
    return found == m_elements.end() ? -1 : static_cast<int>(found - m_elements.begin());
}

} // namespace kestrova
