// Small measures of many values.
#pragma once

#include <algorithm>
#include <vector>

namespace kestrova::app {

/** The upper one of the two in the middle when their number is even. There must be a value. */
inline double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace kestrova::app
