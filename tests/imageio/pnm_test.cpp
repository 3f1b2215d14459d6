// Image files byte for byte, and what each reader makes of whole, odd and damaged ones.
#include "imageio/pnmRead.h"
#include "imageio/pnmWrite.h"
#include "support/CalibrationText.h"

#include <cmath>
#include <numeric>

namespace kestrova::test {
namespace {

using namespace std::string_literals;

template<class T>
Image<T> imageOf(int nRows, int nCols, std::vector<T> pixels)
{
    Image<T> image(nRows, nCols);
    for (std::size_t u = 0; u < pixels.size(); ++u) {
        image[static_cast<int>(u) / nCols][static_cast<int>(u) % nCols] = pixels[u];
    }
    return image;
}

TEST(PnmFiles, EveryWriterByteForByte)
{
    std::vector<unsigned char> bytes(24);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>('a'));
    std::vector<unsigned short> shorts = {0x1234, 0xff01, 0x0061, 0x6262, 0x6363, 0x6464, 0x6565, 0x6666};
    std::vector<Pixel8x4> packed = {{'b', 'g', 'r', 'x'}, {'1', '2', '3', '4'}};
    const Image<unsigned char> part = Image<unsigned char>(4, 6, bytes.data()).region(1, 2, 2, 3);
    const auto wide = imageOf<unsigned short>(1, 5, {600, 0x1234, 255, 256, 65535});
    const auto tall = imageOf<unsigned short>(2, 1, {0x1234, 0x61});
    const auto reals = imageOf<double>(1, 8, {3.99, -1.0, -0.5, 256.5, 1e300, std::nan(""), -2147483648.5, 513.0});
    const KestrovaImage image{2, 3, 6, bytes.data()};
    const KestrovaImage16 image16{2, 3, 9, shorts.data()}; // steps of 8 bytes
    const KestrovaColorImage color{2, 1, 6, bytes.data(), bytes.data() + 1, bytes.data() + 2};
    const KestrovaPackedColorImage packedColor{1, 2, 8, packed.data()};
    const auto saved = [](auto pfnSave, const auto& rRecord) {
        return [=, &rRecord](const char* p) { return pfnSave(&rRecord, p) == KestrovaErrorOk; };
    };
    const std::tuple<const char*, std::function<bool(const char*)>, std::string> aCases[] = {
        {"a view's own pixels", [&](auto p) { return dump_pgm(p, part, nullptr); }, "P5\n\n3 2\n255\nijkopq"},
        {"mark added", [&](auto p) { return dump_pgm(p, part, "me\n#you"); }, "P5\n#me\n#you\n3 2\n255\nijkopq"},
        {"line end kept", [&](auto p) { return dump_pgm(p, part, "#me\n"); }, "P5\n#me\n\n3 2\n255\nijkopq"},
        {"no rows", [&](auto p) { return dump_pgm(p, Image<unsigned char>(), ""); }, "P5\n#\n0 0\n255\n"},
        {"16 bits", [&](auto p) { return dump_pgm(p, tall, "x"); }, "P5\n#x\n1 2\n65535\n\x34\x12\x61\0"s},
        {"divisor 2", [&](auto p) { return dump_pgm(p, wide, 2); }, "P5\n\n5 1\n255\n\x2c\x1a\x7f\x80\xff"},
        {"divisor 0", [&](auto p) { return dump_pgm(p, wide, 0); }, "P5\n\n5 1\n255\n\x58\x34\xff\0\xff"s},
        {"divisor -5", [&](auto p) { return dump_pgm(p, wide, -5); }, "P5\n\n5 1\n255\n\x58\x34\xff\0\xff"s},
        {"divisor 256", [&](auto p) { return dump_pgm(p, wide, 256); }, "P5\n\n5 1\n255\n\x02\x12\0\x01\xff"s},
        {"scale 0", [&](auto p) { return dump_pgm(p, reals, 0.0); }, "P5\n\n8 1\n255\n\x03\xff\0\0\0\0\0\x01"s},
        {"scale 2", [&](auto p) { return dump_pgm(p, reals, 2.0); }, "P5\n\n8 1\n255\n\x01\0\0\x80\0\0\0\0"s},
        {"packed", [&](auto p) { return dump_ppm(p, imageOf<Pixel8x4>(1, 2, packed)); }, "P6\n2 1 255 rgb321"},
        {"planes", [&](auto p) { return dump_ppm(p, part.region(0, 0, 2, 2), part.region(0, 1, 2, 2), part); },
         "P6\n2 2 255 ijijkjopopqp"},
        {"image", saved(kestrovaSaveImage, image), "P5\n\n3 2\n255\nabcghi"},
        {"image16", saved(kestrovaSaveImage16, image16), "P5\n3 2\n65535 \x34\x12\x01\xff\x61\0ccddee"s},
        {"colour", saved(kestrovaSaveColorImage, color), "P6\n1 2 255 abcghi"},
        {"packed colour", saved(kestrovaSavePackedColorImage, packedColor), "P6\n2 1 255 rgb321"},
    };
    const TempFile file("old");
    for (const auto& [pszName, write, wanted] : aCases) {
        EXPECT_FALSE(write("/no such folder/file")) << pszName;
        EXPECT_TRUE(write(file.path())) << pszName;
        EXPECT_EQ(file.content(), wanted) << pszName;
    }
    EXPECT_STREQ(convertComment(std::string(2046, 'x').c_str()), ("#"s + std::string(2046, 'x')).c_str());
    EXPECT_DEATH(convertComment(std::string(2047, 'x').c_str()), "");
}

/** Rows, columns and samples of what a loader gives, or "null". */
std::string loaded(const std::unique_ptr<Image<unsigned char>>& pImage)
{
    std::ostringstream out;
    if (pImage == nullptr) {
        return "null";
    }
    out << pImage->nRows() << ' ' << pImage->nCols() << ' ';
    for (int nRow = 0; nRow < pImage->nRows(); ++nRow) {
        out.write(reinterpret_cast<const char*>(&(*pImage)[nRow][0]), pImage->nCols());
    }
    return out.str();
}

/** The stream over a pipe, which cannot tell its length. */
FILE* piped(const std::string& rBytes)
{
    int anEnds[2] = {};
    EXPECT_EQ(pipe(anEnds), 0);
    EXPECT_EQ(write(anEnds[1], rBytes.data(), rBytes.size()), static_cast<ssize_t>(rBytes.size()));
    close(anEnds[1]);
    return fdopen(anEnds[0], "rb");
}

TEST(PnmFiles, HeadersThatReadAndThoseThatDoNot)
{
    const std::string word(1023, '9');
    const struct
    {
        std::string bytes;
        std::string image;        // of load_pgm
        int nWidth;               // of the one companion that reads it: 8, 16, or 0 for none
        std::string comment = ""; // that it returns
    } aCases[] = {
        {"P5 3 1 255\nabcd", "1 3 abc", 8},
        {"\t P5\r\n#a\r#b c\n##d\n 1 # e\n2#f\n255 ab", "2 1 ab", 8, "a\nb c\n#d\n e\n"},
        {"P5 1 1 256\tab", "1 1 a", 16},
        {"P5 1 1 0 a", "1 1 a", 0},
        {"P5 1 1 x a", "1 1 a", 0},
        {"P5 2 1 65535 abc", "1 2 ab", 0}, // short
        {"P5 1 1 255 #a", "1 1 #", 8},     // pixels start behind one blank
        {"P5 12#3 1 255 "s + word, "1 12 999999999999", 8},
        {"P5 +1 01 255 a", "1 1 a", 8},
        {"P5 1 1 "s + word + " a", "1 1 a", 0}, // no number, and nobody asks the loader
        {"P5 1 1 "s + word + "9 a", "null", 0},
        {"P5 #"s + word.substr(1) + "\n1 1 255 a", "1 1 a", 8, word.substr(1) + "\n"},
        {"P5 #"s + word + "\n1 1 255 a", "null", 0},
        {"P5 # "s + std::string(2045, 'x') + "\n1 1 255 a", "1 1 a", 8, " "s + std::string(2045, 'x') + "\n"},
        {"P5 # "s + std::string(2046, 'x') + "\n1 1 255 a", "1 1 a", 0},
        {"P5 "s + replaced(std::string(9000, '#'), "#", "#\n") + "1 1 255 a", "1 1 a", 0},
        {"P5\n#a\0b\n1 1 255 a"s, "1 1 a", 0}, // would hide the rest of the comment
        {"P6 1 1 255 abc", "null", 0},
        {"P5x 1 1 255 a", "null", 0},
        {"P5 0 1 255 a", "null", 0},
        {"P5 1 -1 255 a", "null", 0},
        {"P5 1 1 255", "null", 0},
        {"P5 1 1 #", "null", 0},
        {"P5 2147483647 2147483647 255 a", "null", 0},
        {"P5 2147483648 1 255 a", "null", 0},
        {"P5 4294967297 1 255 a", "null", 0}, // 1 in 32 bits
        {"P5 65536 65536 255 a", "null", 0},  // 0 in 32 bits
        {"P5 1 99999999999999999999999 255 a", "null", 0},
        {"P5 40000 50000 65535 a", "null", 0},
    };
    for (const auto& rCase : aCases) {
        const std::string name = rCase.bytes.substr(0, 60);
        const TempFile file(rCase.bytes);
        EXPECT_EQ(loaded(load_pgm(file.path())), rCase.image) << name;
        FILE* const pPipe = piped(rCase.bytes);
        EXPECT_EQ(loaded(load_pgm(pPipe)), rCase.image) << name;
        std::fclose(pPipe);
        // Exactly the room that a caller gives, so that the sanitizers see a step beyond.
        const auto pComment = std::make_unique<char[]>(KESTROVA_PGM_COMMENT_SIZE);
        int nRows = -1;
        int nCols = -1;
        unsigned char* puc = nullptr;
        unsigned short* pus = nullptr;
        EXPECT_EQ(pgm8Read(file.path(), pComment.get(), &nRows, &nCols, &puc), rCase.nWidth == 8) << name;
        EXPECT_EQ(pgm16Read(file.path(), pComment.get(), &nRows, &nCols, &pus), rCase.nWidth == 16) << name;
        EXPECT_EQ(pComment.get(), rCase.comment) << name;
        EXPECT_EQ(nRows, rCase.nWidth != 0 ? 1 + (rCase.image[0] == '2') : -1) << name;
        EXPECT_TRUE(pus == nullptr || *pus == 'a' + 256 * 'b') << name;
        std::free(puc);
        std::free(pus);
    }
    EXPECT_EQ(load_pgm("/no such file"), nullptr);
}

TEST(PnmFiles, EveryCutOfAFileFails)
{
    const TempFile file;
    const auto colors = imageOf<Pixel8x4>(3, 1500, std::vector<Pixel8x4>(4500, Pixel8x4{7, 8, 9, 10}));
    ASSERT_TRUE(dump_ppm(file.path(), colors)); // triples lie across every power of two
    const auto pWhole = load_ppm(file.path());
    const TempFile again;
    ASSERT_TRUE(pWhole != nullptr && dump_ppm(again.path(), *pWhole));
    EXPECT_TRUE(again.content() == file.content() && (*pWhole)[2][1499].m_ucFourth == 0);
    for (std::size_t u = 0; u < file.content().size(); u += 1 + u / 20) {
        const TempFile cut(file.content().substr(0, u));
        ASSERT_EQ(load_ppm(cut.path()), nullptr) << u;
    }
    // A stream that grows a block as bytes come, to its end and short of it.
    const std::string large = "P5 200 300 255 "s + std::string(60000, 'l'); // as much as a pipe takes at once
    for (const std::size_t uCut : {0, 1}) {
        FILE* const pPipe = piped(large.substr(0, large.size() - uCut));
        EXPECT_EQ(load_pgm(pPipe) != nullptr, uCut == 0);
        std::fclose(pPipe);
    }
}

} // namespace
} // namespace kestrova::test
