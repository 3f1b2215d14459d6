#include "session/RowVerdict.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kestrova::app {

const char* verdictName(Verdict eVerdict)
{
    switch (eVerdict) {
    case Verdict::Excellent:
        return "excellent";
    case Verdict::Good:
        return "good";
    case Verdict::Fair:
        return "fair";
    case Verdict::DoNotUse:
        return "DO NOT USE";
    default:
        return "";
    }
}

RowErrors rowErrors(std::vector<double> differences)
{
    if (differences.empty()) {
        return {};
    }
    for (double& rDifference : differences) {
        rDifference = std::abs(rDifference);
    }
    std::sort(differences.begin(), differences.end());
    const double dSquares = std::inner_product(differences.begin(), differences.end(), differences.begin(), 0.0);
    return {static_cast<int>(differences.size()), std::sqrt(dSquares / static_cast<double>(differences.size())),
            differences[(differences.size() - 1) * 95 / 100]};
}

Verdict rowVerdict(double dRms)
{
    return dRms <= 0.1              ? Verdict::Excellent
           : dRms <= 0.25           ? Verdict::Good
           : dRms <= sk_dUsableRows ? Verdict::Fair
                                    : Verdict::DoNotUse; // not-a-number too
}

} // namespace kestrova::app
