#include "pages/HtmlPage.h"

#include "outputs/Results.h"

#include <opencv2/imgcodecs.hpp>

#include <cctype>

namespace kestrova::app {

std::string escapeHtml(const std::string& rText)
{
    std::string escaped;
    for (const char c : rText) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

std::string base64(const unsigned char* pBytes, std::size_t uBytes)
{
    static const char* const s_pszDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((uBytes + 2) / 3 * 4);
    for (std::size_t u = 0; u < uBytes; u += 3) {
        const std::size_t uLeft = uBytes - u;
        const unsigned uGroup =
            pBytes[u] << 16 | (uLeft > 1 ? pBytes[u + 1] << 8 : 0) | (uLeft > 2 ? pBytes[u + 2] : 0);
        for (unsigned uDigit = 0; uDigit < 4; ++uDigit) {
            text += uDigit <= uLeft ? s_pszDigits[uGroup >> (18 - 6 * uDigit) & 63] : '=';
        }
    }
    return text;
}

std::string pictureData(const cv::Mat& rImage)
{
    std::vector<unsigned char> png;
    cv::imencode(".png", rImage, png);
    return "data:image/png;base64," + base64(png.data(), png.size());
}

HtmlPage::HtmlPage(const std::string& rTitle) : m_title(escapeHtml(rTitle)), m_body("<h1>" + m_title + "</h1>\n") {}

void HtmlPage::heading(const std::string& rText)
{
    m_body += "<h2>" + escapeHtml(rText) + "</h2>\n";
}

void HtmlPage::paragraph(const std::string& rText)
{
    m_body += "<p>" + escapeHtml(rText) + "</p>\n";
}

void HtmlPage::facts(const std::vector<Fact>& rFacts)
{
    m_body += "<div class=\"facts\">\n";
    for (const Fact& rFact : rFacts) {
        m_body +=
            "<div><b>" + escapeHtml(rFact.m_value) + "</b><span>" + escapeHtml(rFact.m_meaning) + "</span></div>\n";
    }
    m_body += "</div>\n";
}

namespace {

bool isNumber(const std::string& rText)
{
    const std::size_t uFirst = rText.find_first_not_of("+-<> ");
    return uFirst != std::string::npos && std::isdigit(static_cast<unsigned char>(rText[uFirst])) && rText.size() < 16;
}

} // namespace

void HtmlPage::table(const std::vector<std::vector<std::string>>& rRows)
{
    m_body += "<div class=\"wide\"><table>\n";
    std::string cell = "th";
    for (const auto& rRow : rRows) {
        m_body += "<tr>";
        for (const std::string& rText : rRow) {
            m_body +=
                "<" + cell + (isNumber(rText) ? " class=\"number\">" : ">") + escapeHtml(rText) + "</" + cell + ">";
        }
        m_body += "</tr>\n";
        cell = "td";
    }
    m_body += "</table></div>\n";
}

void HtmlPage::picture(const cv::Mat& rImage, const std::string& rCaption)
{
    m_body += "<figure><img alt=\"" + escapeHtml(rCaption) + "\" src=\"" + pictureData(rImage) + "\"/><figcaption>" +
              escapeHtml(rCaption) + "</figcaption></figure>\n";
}

void HtmlPage::script(const std::string& rSource)
{
    m_body += "<script>\n" + rSource + "</script>\n";
}

void HtmlPage::html(const std::string& rMarkup)
{
    m_body += rMarkup;
}

namespace {

const char* const sk_pszStyle = R"css(
:root { color-scheme: light dark; --ink: #1c2430; --quiet: #5b6675; --paper: #f4f6f8; --sheet: #fff; --rule: #dde2e8;
  --accent: #0f6fb8; --stage: #10161d; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e4e8ee; --quiet: #9aa6b5; --paper: #12171d; --sheet: #1a2129; --rule: #2d3742; --accent: #5cb2f2; }
}
* { box-sizing: border-box; }
body { font: 15px/1.55 system-ui, "Segoe UI", "DejaVu Sans", sans-serif; color: var(--ink); background: var(--paper);
  max-width: 1180px; margin: 0 auto; padding: 2rem 1.25rem 4rem; }
h1 { font-size: 1.7rem; line-height: 1.25; margin: 0 0 .6rem; overflow-wrap: anywhere; }
h2 { font-size: 1.15rem; margin: 2.4rem 0 .7rem; padding-bottom: .3rem; border-bottom: 1px solid var(--rule); }
p { max-width: 50rem; margin: .5rem 0; }
.quiet, figcaption { color: var(--quiet); font-size: .9rem; }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(8.5rem, 1fr)); gap: .75rem; margin: 1.2rem 0; }
.facts div { background: var(--sheet); border: 1px solid var(--rule); border-radius: 8px; padding: .7rem .9rem; }
.facts b { display: block; white-space: nowrap; font-size: 1.2rem; font-weight: 600; font-variant-numeric: tabular-nums; }
.facts span { color: var(--quiet); font-size: .85rem; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; background: var(--sheet); border: 1px solid var(--rule); font-size: .93rem; }
th, td { padding: .3rem .8rem; text-align: left; vertical-align: top; border-bottom: 1px solid var(--rule); }
th { color: var(--quiet); font-weight: 600; }
tr:last-child > td { border-bottom: 0; }
.number { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
figure { margin: 1rem 0; }
figcaption { margin-top: .4rem; max-width: 60rem; }
img { max-width: 100%; display: block; border-radius: 4px; }
summary { cursor: pointer; color: var(--accent); }
)css";

} // namespace

void HtmlPage::save(const std::filesystem::path& rFile) const
{
    writeText(rFile, "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>"
                     "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
                     "style-src 'unsafe-inline'; script-src 'unsafe-inline'\"/>"
                     "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>"
                     "<link rel=\"icon\" href=\"data:,\"/>\n<title>" +
                         m_title + "</title>\n<style>" + sk_pszStyle + "</style></head>\n<body>\n" + m_body +
                         "</body></html>\n");
}

} // namespace kestrova::app
