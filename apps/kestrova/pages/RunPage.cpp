#include "pages/RunPage.h"

#include "pages/HtmlPage.h"

namespace kestrova::app {

void writeRunPage(const std::filesystem::path& rFile, const StereoResult&, const std::string& rTitle,
                  const std::string&)
{
    HtmlPage(rTitle).save(rFile);
}

} // namespace kestrova::app
