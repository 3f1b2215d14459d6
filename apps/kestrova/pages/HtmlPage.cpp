#include "pages/HtmlPage.h"

#include "outputs/Results.h"

#include <opencv2/imgcodecs.hpp>

namespace kestrova::app {

std::string escapeHtml(const std::string& rText)
{
    std::string escaped;
    for (const char c : rText)
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
        for (unsigned uDigit = 0; uDigit < 4; ++uDigit)
            text += uDigit <= uLeft ? s_pszDigits[uGroup >> (18 - 6 * uDigit) & 63] : '=';
    }
    return text;
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

void HtmlPage::table(const std::vector<std::vector<std::string>>& rRows)
{
    m_body += "<table>\n";
    const char* pszCell = "th";
    for (const auto& rRow : rRows) {
        m_body += "<tr>";
        for (const std::string& rText : rRow)
            m_body += std::string("<") + pszCell + ">" + escapeHtml(rText) + "</" + pszCell + ">";
        m_body += "</tr>\n";
        pszCell = "td";
    }
    m_body += "</table>\n";
}

void HtmlPage::picture(const cv::Mat& rImage, const std::string& rCaption)
{
    std::vector<unsigned char> png;
    cv::imencode(".png", rImage, png);
    m_body += "<figure><img alt=\"" + escapeHtml(rCaption) + "\" src=\"data:image/png;base64," +
              base64(png.data(), png.size()) + "\"><figcaption>" + escapeHtml(rCaption) + "</figcaption></figure>\n";
}

void HtmlPage::html(const std::string& rMarkup)
{
    m_body += rMarkup;
}

void HtmlPage::save(const std::filesystem::path& rFile) const
{
    writeText(rFile,
              "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + m_title +
                  "</title>\n<style>body{font:15px/1.5 sans-serif;max-width:1100px;margin:2em auto;padding:0 1em;"
                  "color:#222}table{border-collapse:collapse}th,td{border:1px solid #ccc;padding:3px 9px;"
                  "text-align:left}img{max-width:100%}figure{margin:1em 0}figcaption{color:#555}</style></head>\n"
                  "<body>\n" +
                  m_body + "</body></html>\n");
}

} // namespace kestrova::app
