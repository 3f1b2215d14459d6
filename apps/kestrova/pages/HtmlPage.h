// A page of one file: pictures are part of it and nothing is fetched, so it can be mailed and opened anywhere.
//
// The page itself forbids the browser to fetch anything. Light or dark as the reader's system is set; all of its looks
// are in the style sheet of HtmlPage.cpp.
#pragma once

#include <opencv2/core.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace kestrova::app {

struct Fact
{
    std::string m_value, m_meaning;
};

class HtmlPage
{
public:
    explicit HtmlPage(const std::string& rTitle);

    void heading(const std::string& rText);
    void paragraph(const std::string& rText);
    /** The key numbers of the page: value in large letters, its meaning below. */
    void facts(const std::vector<Fact>& rFacts);
    /** The first row is the head. Cells that are numbers, or numbers with a unit, stand to the right. */
    void table(const std::vector<std::vector<std::string>>& rRows);
    void picture(const cv::Mat& rImage, const std::string& rCaption);
    void script(const std::string& rSource);
    /** As it stands: what is handed over must be well-formed and must fetch nothing. */
    void html(const std::string& rMarkup);

    /** Throws AppError when the file cannot be written. */
    void save(const std::filesystem::path& rFile) const;

private:
    std::string m_title;
    std::string m_body;
};

std::string escapeHtml(const std::string& rText);
/** A picture as the source of an image element. */
std::string pictureData(const cv::Mat& rImage);
std::string base64(const unsigned char* pBytes, std::size_t uBytes);

} // namespace kestrova::app
