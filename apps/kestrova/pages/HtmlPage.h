// A page of one file: pictures are part of it and nothing is fetched, so it can be mailed and opened anywhere.
#pragma once

#include <opencv2/core.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace kestrova::app {

class HtmlPage
{
public:
    explicit HtmlPage(const std::string& rTitle);

    void heading(const std::string& rText);
    void paragraph(const std::string& rText);
    /// The first row is the head.
    void table(const std::vector<std::vector<std::string>>& rRows);
    void picture(const cv::Mat& rImage, const std::string& rCaption);
    /// As it stands: what is handed over must be well-formed and must fetch nothing.
    void html(const std::string& rMarkup);

    /// Throws AppError when the file cannot be written.
    void save(const std::filesystem::path& rFile) const;

private:
    std::string m_title;
    std::string m_body;
};

std::string escapeHtml(const std::string& rText);
std::string base64(const unsigned char* pBytes, std::size_t uBytes);

} // namespace kestrova::app
