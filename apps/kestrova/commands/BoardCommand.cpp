// kestrova board: a checkerboard to print.
#include "basics/OutputFile.h"
#include "boards/Board.h"
#include "commands/Commands.h"
#include "outputs/Results.h"

#include <cstdio>

namespace kestrova::app {

namespace {

struct BoardOptions
{
    std::string m_inner = "9x6";
    std::string m_square = "25mm";
    std::string m_paper = "a4";
    std::string m_out;
};

void drawBoard(const BoardOptions& rOptions)
{
    const Board board = parseBoard(rOptions.m_inner, rOptions.m_square);
    const std::string drawing = boardSvg(board, rOptions.m_paper);
    OutputFile out(rOptions.m_out);
    writeText(out.file(), drawing);
    out.commit();
    std::printf("%s: %s, on %s\n"
                "Print it at 100 %% (no fit to page), glue it to something flat, and measure the bar: if it is not "
                "100 mm, give --square what a square measures.\n",
                rOptions.m_out.c_str(), board.describe().c_str(), rOptions.m_paper.c_str());
    if (board.m_inner.width % 2 == board.m_inner.height % 2) {
        std::puts("Turned by half it looks the same; a board with an odd and an even count does not.");
    }
}

} // namespace

void addBoardCommand(CLI::App& rProgram)
{
    auto pOptions = std::make_shared<BoardOptions>();
    CLI::App* pCommand = rProgram.add_subcommand("board", "Draws a checkerboard to print, as SVG in true millimetres");
    pCommand->add_option("--inner", pOptions->m_inner, "inner corners, where four squares meet")->capture_default_str();
    pCommand->add_option("--square", pOptions->m_square, "side of a square, with its unit")->capture_default_str();
    pCommand->add_option("--paper", pOptions->m_paper, "turned as it fits")
        ->check(CLI::IsMember(paperNames()))
        ->capture_default_str();
    pCommand->add_option("-o,--out", pOptions->m_out, "SVG file")->required();
    pCommand->callback([pOptions] { drawBoard(*pOptions); });
}

} // namespace kestrova::app
