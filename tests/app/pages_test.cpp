// Pages: well-formed, fetching nothing, and with the cloud in them as it was measured. What browsers make of them is
// seen by scripts/check-viewers.sh.
#include "app/fixtures.h"
#include "pages/CloudFigure.h"
#include "pages/RunPage.h"

#include <gmock/gmock.h>

#include <cstring>

namespace kestrova::app {

namespace {

// The first element that is not closed in its order, or empty. Scripts and styles are skipped as browsers do.
std::string firstOpenElement(const std::string& rPage)
{
    std::vector<std::string> open;
    for (std::size_t u = rPage.find('<', 1); u != std::string::npos; u = rPage.find('<', u + 1)) {
        const bool bEnd = rPage[u + 1] == '/';
        const std::size_t uName = u + 1 + bEnd;
        const std::string name = rPage.substr(uName, rPage.find_first_of(" />\n", uName) - uName);
        const std::size_t uClose = rPage.find('>', u);
        if (bEnd && (open.empty() || open.back() != name)) {
            return name;
        }
        if (bEnd) {
            open.pop_back();
        } else if (rPage[uClose - 1] != '/') {
            open.push_back(name);
        }
        u = uClose;
        if (!bEnd && (name == "script" || name == "style")) {
            u = rPage.find("</" + name, u) - 1;
        }
    }
    return open.empty() ? "" : open.back();
}

std::string decoded(const std::string& rPage, const std::string& rId)
{
    const std::size_t uFrom = rPage.find('>', rPage.find("id=\"" + rId + "\"")) + 1;
    static const std::string s_digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned uBits = 0;
    int nBits = 0;
    for (std::size_t u = uFrom; rPage[u] != '<' && rPage[u] != '='; ++u) {
        uBits = uBits << 6 | static_cast<unsigned>(s_digits.find(rPage[u]));
        nBits += 6;
        if (nBits >= 8) {
            bytes += static_cast<char>(uBits >> (nBits -= 8) & 0xFF);
        }
    }
    return bytes;
}

StereoResult someResult(std::size_t nPoints)
{
    StereoResult result;
    result.m_rectified = {{KestrovaCamRight, cv::Mat1b(24, 32, uchar(90))},
                          {KestrovaCamLeft, cv::Mat1b(24, 32, uchar(80))}};
    result.m_map16 = {cv::Mat1f(24, 32, 4.0f), cv::Mat1b(24, 32, uchar(0))};
    result.m_map16.m_reject.row(3).setTo(static_cast<unsigned char>(Reject::Uniqueness));
    result.m_optics = {100.0f, 0.1f, 12.0f, 16.0f};
    result.m_range = {0, 16};
    result.m_times = {{"stereo & <more>", 1.5}};
    result.m_rectifiedRows[KestrovaCamLeft].m_rows = {20, 0.2, 0.4};
    for (std::size_t n = 0; n < nPoints; ++n) {
        result.m_cloud.push_back({{0.5f * static_cast<float>(n), -1.0f, 2.0f}, cv::Vec3b(1, 2, static_cast<uchar>(n))});
    }
    return result;
}

} // namespace

TEST(RunPage, HoldsTheCloudIsWellFormedAndFetchesNothing)
{
    const TempFolder folder;
    writeRunPage(folder / "a.html", someResult(5), "a <b> & \"c\"", "  lowpass   on\n  disparity  0 to 16 pixels\n");
    const std::string page = slurp(folder / "a.html");
    EXPECT_EQ(firstOpenElement(page), "");
    for (const char* pszFetch : {"http:", "https:", "url(", "@import", "fetch(", "import(", "XMLHttpRequest"}) {
        EXPECT_EQ(page.find(pszFetch), std::string::npos) << pszFetch;
    }
    for (const char* pszLink : {"src=\"", "href=\""}) {
        for (std::size_t u = page.find(pszLink); u != std::string::npos; u = page.find(pszLink, u + 1)) {
            EXPECT_EQ(page.substr(page.find('"', u) + 1, 5), "data:");
        }
    }
    for (const char* pszText :
         {"<title>a &lt;b&gt; &amp; &quot;c&quot;</title>", "stereo &amp; &lt;more&gt;",
          "4.2 %</td><td class=\"number\">32<", "<td>disparity</td><td class=\"number\">0 to 16 pixels</td>",
          "<td>good</td>", "5 points.", "0.94 m"}) {
        EXPECT_NE(page.find(pszText), std::string::npos) << pszText;
    }

    const std::string positions = decoded(page, "cloud-positions");
    ASSERT_EQ(positions.size(), 5 * 3 * sizeof(float));
    float afLast[3];
    std::memcpy(afLast, positions.data() + 4 * sizeof afLast, sizeof afLast);
    EXPECT_THAT(afLast, testing::ElementsAre(2.0f, -1.0f, 2.0f));
    EXPECT_EQ(decoded(page, "cloud-colours"), std::string("\1\2\0\1\2\1\1\2\2\1\2\3\1\2\4", 15));
    EXPECT_EQ(decoded(page, "cloud-palette").size(), 768u);

    StereoResult nothing = someResult(0);
    nothing.m_rectifiedRows[KestrovaCamLeft].m_rows = {19, 0.02, 0.04}; // a few strays prove nothing, good or bad
    nothing.m_optics.m_fBaseline = 0.0f;
    writeRunPage(folder / "b.html", nothing, "b");
    const std::string without = slurp(folder / "b.html");
    EXPECT_EQ(firstOpenElement(without), "");
    EXPECT_NE(without.find("There is no cloud"), std::string::npos);
    EXPECT_NE(without.find("<td>too few, give more frames</td>"), std::string::npos);
    EXPECT_EQ(without.find("<canvas"), std::string::npos);
}

TEST(RunPage, ThinsALargeCloudEvenlyAndSaysSo)
{
    const TempFolder folder;
    const std::size_t nPoints = 2 * sk_nMostPagePoints;
    writeRunPage(folder / "a.html", someResult(nPoints), "a");
    const std::string page = slurp(folder / "a.html");
    EXPECT_NE(page.find("300000 of 600000 points"), std::string::npos);
    const std::string positions = decoded(page, "cloud-positions");
    ASSERT_EQ(positions.size(), sk_nMostPagePoints * 12);
    double dSum = 0.0;
    float fLast = -1.0f;
    for (std::size_t u = 0; u < positions.size(); u += 12) {
        float fX = 0.0f;
        std::memcpy(&fX, positions.data() + u, sizeof fX);
        ASSERT_GT(fX, fLast); // in order, none twice
        dSum += fLast = fX;
    }
    EXPECT_NEAR(dSum / static_cast<double>(sk_nMostPagePoints) / (0.25 * static_cast<double>(nPoints)), 1.0, 0.01);
}

} // namespace kestrova::app
