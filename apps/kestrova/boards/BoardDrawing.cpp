// The sheet: board in the middle of the width, white around it, and a strip at the foot with bar and text.
#include "basics/AppError.h"
#include "basics/Line.h"
#include "boards/Board.h"

#include <algorithm>
#include <map>
#include <optional>

namespace kestrova::app {

namespace {

const std::map<std::string, cv::Size2d> sk_papers{
    {"a4", {210.0, 297.0}},  {"a3", {297.0, 420.0}},     {"a2", {420.0, 594.0}},     {"a1", {594.0, 841.0}},
    {"a0", {841.0, 1189.0}}, {"letter", {215.9, 279.4}}, {"tabloid", {279.4, 431.8}}};
constexpr double sk_dStrip = 10.0; // millimetres at the foot
constexpr double sk_dBar = 100.0;

} // namespace

std::vector<std::string> paperNames()
{
    std::vector<std::string> names;
    for (const auto& [rName, rSize] : sk_papers) {
        names.push_back(rName);
    }
    return names;
}

namespace {

struct Sheet
{
    cv::Size2d m_paper; // millimetres
    double m_dSquare;
    double m_dQuiet; // finders need white around the board
    cv::Point2d m_origin;
};

std::optional<Sheet> place(const Board& rBoard, cv::Size2d paper)
{
    const double dSquare = 1000.0 * rBoard.m_dSquare;
    const double dQuiet = std::max(0.5 * dSquare, 6.0);
    const double dWidth = (rBoard.m_inner.width + 1) * dSquare;
    const double dHeight = (rBoard.m_inner.height + 1) * dSquare;
    if (dWidth + 2.0 * dQuiet > paper.width || dHeight + 2.0 * dQuiet + sk_dStrip > paper.height ||
        sk_dBar + 80.0 > paper.width) {
        return std::nullopt;
    }
    return Sheet{paper, dSquare, dQuiet, {(paper.width - dWidth) / 2.0, (paper.height - sk_dStrip - dHeight) / 2.0}};
}

std::optional<Sheet> placeEitherWay(const Board& rBoard, cv::Size2d paper)
{
    const auto upright = place(rBoard, paper);
    return upright ? upright : place(rBoard, {paper.height, paper.width});
}

std::string smallestPaper(const Board& rBoard)
{
    for (const char* pszPaper : {"a4", "a3", "a2", "a1", "a0"}) {
        if (placeEitherWay(rBoard, sk_papers.at(pszPaper))) {
            return std::string("it takes --paper ") + pszPaper;
        }
    }
    return "no paper up to a0 holds it; choose smaller squares or fewer of them";
}

std::string squaresPath(const Board& rBoard, const Sheet& rSheet)
{
    std::string path;
    for (int nRow = 0; nRow <= rBoard.m_inner.height; ++nRow) {
        for (int nCol = nRow % 2; nCol <= rBoard.m_inner.width; nCol += 2) {
            path += line("M%.4f %.4fh%.4fv%.4fh%.4fz", rSheet.m_origin.x + nCol * rSheet.m_dSquare,
                         rSheet.m_origin.y + nRow * rSheet.m_dSquare, rSheet.m_dSquare, rSheet.m_dSquare,
                         -rSheet.m_dSquare);
        }
    }
    return path;
}

} // namespace

std::string boardSvg(const Board& rBoard, const std::string& rPaper)
{
    const auto sheet = placeEitherWay(rBoard, sk_papers.at(rPaper));
    if (!sheet) {
        throw AppError("--paper " + rPaper + ": has no room for a board of " + rBoard.describe() +
                           " and the white around it; " + smallestPaper(rBoard),
                       ExitStatus::Usage);
    }
    const double dWidth = sheet->m_paper.width;
    const double dHeight = sheet->m_paper.height;
    const double dLeft = std::max(sheet->m_dQuiet, 8.0);
    const double dFoot = dHeight - 5.5;
    return line("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.1fmm\" height=\"%.1fmm\" viewBox=\"0 0 %.1f "
                "%.1f\">\n",
                dWidth, dHeight, dWidth, dHeight) +
           "<title>Checkerboard, " + rBoard.describe() +
           "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" +
           "<path shape-rendering=\"crispEdges\" fill=\"#000\" d=\"" + squaresPath(rBoard, *sheet) + "\"/>\n" +
           line("<path fill=\"none\" stroke=\"#000\" stroke-width=\"0.3\" d=\"M%.4f %.4fv3m0 -1.5h%.4fm0 -1.5v3\"/>\n",
                dLeft, dFoot - 3.0, sk_dBar) +
           line("<text x=\"%.4f\" y=\"%.4f\" font-family=\"sans-serif\" font-size=\"3\">%.0f mm: measure it. "
                "%s</text>\n",
                dLeft + sk_dBar + 3.0, dFoot - 0.5, sk_dBar, rBoard.describe().c_str()) +
           "</svg>\n";
}

} // namespace kestrova::app
