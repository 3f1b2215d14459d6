#include "basics/Units.h"

#include "basics/AppError.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace kestrova::app {

cv::Size parseSize(const std::string& rText, const std::string& rOption)
{
    cv::Size size;
    char cRest = 0;
    if (std::sscanf(rText.c_str(), "%5dx%5d%c", &size.width, &size.height, &cRest) != 2 || size.width < 1 ||
        size.height < 1) {
        throw AppError(rOption + ": '" + rText + "' is not a size such as 640x480", ExitStatus::Usage);
    }
    return size;
}

double parseLength(const std::string& rText, const std::string& rOption)
{
    double dValue = 0.0;
    const auto [pEnd, error] = std::from_chars(rText.data(), rText.data() + rText.size(), dValue);
    const std::string unit(pEnd, rText.data() + rText.size());
    const double dMetres = unit == "mm" ? 0.001 : unit == "cm" ? 0.01 : unit == "m" ? 1.0 : 0.0;
    if (error != std::errc() || !(dValue > 0.0) || dMetres == 0.0 || !std::isfinite(dValue)) {
        throw AppError(rOption + ": '" + rText + "' is not a length with a unit, such as 120mm, 12cm or 0.12m",
                       ExitStatus::Usage);
    }
    return dValue * dMetres;
}

} // namespace kestrova::app
