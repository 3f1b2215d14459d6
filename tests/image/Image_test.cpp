// Image containers: layout of storage, frames of views, fills, and counting of references.
#include "image/Image.h"
#include "image/ImageRow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

using namespace kestrova;
using testing::ElementsAre;

namespace {

using Bytes = Image<unsigned char>;

std::vector<int> pixelsOf(const Bytes& rImage)
{
    std::vector<int> all;
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
        for (int nCol = 0; nCol < rImage.nCols(); ++nCol) {
            all.push_back(rImage[nRow][nCol]);
        }
    }
    return all;
}

// Rows, columns, row and column offset in the frame, rows and columns of the frame.
std::vector<int> placeOf(const Bytes& rImage)
{
    return {rImage.nRows(),          rImage.nCols(),           rImage.offset().m_nRows,
            rImage.offset().m_nCols, rImage.maxSize().m_nRows, rImage.maxSize().m_nCols};
}

void numberPixels(Bytes& rImage)
{
    for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
        for (int nCol = 0; nCol < rImage.nCols(); ++nCol) {
            rImage[nRow][nCol] = static_cast<unsigned char>(10 * nRow + nCol);
        }
    }
}

// The whole stride of every row belongs to the image, the last row's too: the sanitizer watches the write.
template<typename T>
void expectLayout(int nRows, int nCols, int nStride)
{
    SCOPED_TRACE(testing::Message() << sizeof(T) << " bytes, " << nRows << " by " << nCols);
    Image<T> image(nRows, nCols);
    EXPECT_EQ(image.nCols(), nCols);
    EXPECT_EQ(image.rowDistance(), nStride);
    EXPECT_EQ(image.buffer().nCols(), nStride);
    for (int nRow = 0; nRow < nRows; ++nRow) {
        T* pRow = &image[nRow][0];
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pRow) % 32, 0U);
        std::memset(static_cast<void*>(pRow), 0x5a, static_cast<std::size_t>(nStride) * sizeof(T));
    }
}

} // namespace

TEST(Image, RowsOfOwnStorageStartAndEndOn32Bytes)
{
    expectLayout<unsigned char>(240, 320, 320);
    expectLayout<unsigned char>(3, 33, 64);
    expectLayout<unsigned short>(1, 17, 32);
    expectLayout<unsigned int>(2, 1, 8);
    expectLayout<int>(5, 9, 16);
    expectLayout<double>(3, 4, 4);
    expectLayout<Pixel8x4>(2, 9, 16);
    expectLayout<Pixel8x8>(2, 5, 8);
    expectLayout<Pixel16x4>(4, 3, 4);
    expectLayout<Pixel16x8>(2, 3, 4);
    EXPECT_THROW(Image<int>(2, 0x3fffffff), std::bad_alloc) << "a negative 32-bit total is refused";
}

TEST(Image, RowIncIsInBytesAndZeroForNothingToShow)
{
    EXPECT_EQ(rowInc(Bytes(3, 33)), 64);
    EXPECT_EQ(rowInc(Image<unsigned short>(1, 17)), 64);
    EXPECT_EQ(rowInc(Image<Pixel8x4>(1, 3)), 32);
    EXPECT_EQ(rowInc(Bytes(0, 5)), 0);
    EXPECT_EQ(rowInc(Bytes(4, 8).region(0, 0, 4, 0)), 0);
    EXPECT_EQ(rowInc(Bytes::constImage(100, 8, 1)), 0);
}

TEST(Image, ViewsRememberTheirFrameOnlyWhenTold)
{
    Bytes whole(20, 30);
    const Bytes child(whole, {3, 4, 10, 12}, true);
    const Bytes grandchild(child, {2, 1, 5, 6}, true);
    EXPECT_THAT(placeOf(grandchild), ElementsAre(5, 6, 5, 5, 20, 30));
    EXPECT_EQ(grandchild.data(), &whole[5][5]);
    EXPECT_THAT(placeOf(Bytes(grandchild)), ElementsAre(5, 6, 5, 5, 20, 30)) << "a copy keeps the frame";
    EXPECT_THAT(placeOf(ImageRow<unsigned char>(grandchild)), ElementsAre(5, 6, 5, 5, 20, 30));

    const Bytes cropped = grandchild.crop(1, 2, 1, 3);
    EXPECT_THAT(placeOf(cropped), ElementsAre(3, 1, 0, 0, 3, 1)) << "region and crop forget it";
    EXPECT_EQ(cropped.data(), &whole[6][7]);
    EXPECT_THAT(placeOf(whole.region(6, 7, {3, 1})), ElementsAre(3, 1, 0, 0, 3, 1));

    Bytes own = child;
    own.shrinkROI();
    EXPECT_THAT(placeOf(own), ElementsAre(10, 12, 0, 0, 10, 12));
    EXPECT_TRUE(whole.region(0, 0, 2, 2).overlap(whole.region(10, 10, 2, 2))) << "one buffer, disjoint rectangles";
    EXPECT_FALSE(Bytes(20, 30, 30, whole.data()).overlap(whole)) << "one memory, two buffers";
}

TEST(Image, RectanglesOfMasksAndCrops)
{
    const Bytes image(20, 30);
    const auto rectangle = [](const ImageROI& r) {
        return std::vector<int>{r.m_nRowOffset, r.m_nColOffset, r.m_nRows, r.m_nCols};
    };
    EXPECT_THAT(rectangle(image.mask({7, 3})), ElementsAre(3, 1, 14, 28));
    EXPECT_THAT(rectangle(image.mask({8, 1})), ElementsAre(4, 0, 13, 30)) << "an even window loses 7 rows";
    EXPECT_THAT(rectangle(image.crop(ImageDim{1, 2}, ImageDim{3, 4})), ElementsAre(1, 2, 16, 24));
}

TEST(Image, StorageLivesAsLongAsItsLastViewAndCallersMemoryIsLeftAlone)
{
    std::vector<unsigned char> memory(5 * 7, 9);
    {
        Bytes outside(5, 6, 7, memory.data());
        EXPECT_EQ(outside.rowDistance(), 7) << "any stride";
        outside.init(1);
        EXPECT_EQ(Bytes({5, 7}, memory.data()).rowDistance(), 7);
    }
    EXPECT_EQ(memory[5], 1);
    EXPECT_EQ(memory[6], 9) << "between the columns and the stride";

    Bytes survivor;
    EXPECT_TRUE(survivor.data() == nullptr && survivor.nRows() == 0);
    {
        Bytes parent(4, 4);
        parent.init(3);
        survivor = parent.region(1, 1, 2, 2);
    }
    survivor = survivor.region(0, 0, 1, 2); // from a view of the buffer that is let go
    Bytes& rSelf = survivor;
    survivor = rSelf;
    EXPECT_THAT(pixelsOf(survivor), ElementsAre(3, 3));
    EXPECT_TRUE(Bytes(Bytes::defaultImage).overlap(Bytes::defaultImage));
    EXPECT_EQ(Bytes(memory.data()).nRows(), 0) << "a pointer alone is not read";
}

TEST(Image, ViewsMayBeCopiedAndDroppedByManyThreads)
{
    Bytes shared(2, 2);
    shared.init(7);
    const auto work = [&shared] {
        for (int i = 0; i < 5000; ++i) {
            Bytes view = shared.region(0, 0, 1, 1);
            Bytes idle = Bytes::defaultImage;
            idle = view;
            ASSERT_EQ(idle[0][0], 7);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_THAT(pixelsOf(shared), ElementsAre(7, 7, 7, 7));
}

TEST(Image, ConstantImageHasOneRowForAll)
{
    Bytes image = Bytes::constImage({100, 4}, 5);
    EXPECT_THAT(placeOf(image), ElementsAre(100, 4, 0, 0, 100, 4));
    EXPECT_EQ(image.buffer().nRows(), 1);
    image[5][3] = 8;
    EXPECT_EQ(image[6][3], 8);
    Bytes copy(2, 4);
    copy.init(image);
    EXPECT_THAT(pixelsOf(copy), ElementsAre(5, 5, 5, 8, 5, 5, 5, 8));

    struct Case
    {
        int nTop, nLeft, nBottom, nRight;
        std::vector<int> row;
    };
    const Case aCases[] = {
        {0, 1, 0, 2, {9, 0, 9, 9}}, {1, 0, 0, 0, {9, 9, 9, 9}}, {0, 0, 1, 0, {9, 9, 9, 9}}, {0, 0, 0, 0, {0, 0, 0, 0}}};
    for (const Case& rCase : aCases) {
        image.init(0);
        image.border(9, rCase.nTop, rCase.nLeft, rCase.nBottom, rCase.nRight);
        EXPECT_EQ(pixelsOf(image.region(50, 0, 1, 4)), rCase.row);
    }
}

TEST(Image, BorderFillsTheInsideOfTheViewOnly)
{
    const int aBorders[][4] = {{0, 0, 0, 0}, {1, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 3, 0},
                               {0, 0, 0, 1}, {2, 1, 1, 3}, {3, 0, 2, 0}, {4, 1, 1, 1}};
    for (const auto& b : aBorders) {
        Bytes whole(8, 9);
        whole.init(1);
        whole.region(1, 2, 5, 6).border(7, b[0], b[1], b[2], b[3]);
        for (int nRow = 0; nRow < 8; ++nRow) {
            for (int nCol = 0; nCol < 9; ++nCol) {
                const int r = nRow - 1;
                const int c = nCol - 2;
                const bool bInside = r >= 0 && r < 5 && c >= 0 && c < 6;
                const bool bFilled = bInside && (r < b[0] || r >= 5 - b[2] || c < b[1] || c >= 6 - b[3]);
                ASSERT_EQ(whole[nRow][nCol], bFilled ? 7 : 1)
                    << "row " << nRow << " column " << nCol << " top " << b[0];
            }
        }
    }
    Bytes parent(3, 4);
    parent.init(1);
    const Bytes inner(parent, {1, 1, 1, 2}, true, 6);
    EXPECT_THAT(pixelsOf(parent), ElementsAre(6, 6, 6, 6, 6, 1, 1, 6, 6, 6, 6, 6))
        << "all of the parent outside the view";
    EXPECT_THAT(placeOf(inner), ElementsAre(1, 2, 1, 1, 3, 4));
}

TEST(Image, CopyingPixelsUsesEachStrideAndTheTargetsSize)
{
    Bytes source(4, 40);
    numberPixels(source);
    Bytes wide(2, 4);
    wide.init(99);
    Bytes target = wide.region(0, 0, 2, 3);
    target.init(source);
    EXPECT_EQ(wide[1][3], 99);
    EXPECT_THAT(pixelsOf(target), ElementsAre(0, 1, 2, 10, 11, 12));
    target.init(target);
    Bytes none = source.region(0, 0, 0, 3);
    none.init(target);
    EXPECT_EQ(source[0][0], 0);
    EXPECT_THAT(pixelsOf(target), ElementsAre(0, 1, 2, 10, 11, 12));
}

TEST(ImageRow, CursorCountsRowsFromWhereItStands)
{
    Bytes image(4, 3);
    numberPixels(image);
    ImageRow<unsigned char> cursor(image);
    const ImageRow<unsigned char>& rConst = cursor; // stepping is allowed on what may only be read
    EXPECT_EQ(*rConst.pixels(2), 20);
    rConst.gotoLast();
    EXPECT_EQ(*rConst.pixels(0), 30);
    EXPECT_EQ(rConst.pixels(-1)[1], 21);
    rConst.gotoPrev(2);
    rConst += 1;
    EXPECT_EQ(rConst.row(0)[2], 22);
    EXPECT_EQ(rConst.row(0).crop(1, 0)[1], 22);
    const ImageRow<unsigned char> copy(cursor);
    EXPECT_EQ(*copy(0), 20) << "a copy stands on the same row";
    ImageRow<unsigned char> other(Bytes(1, 1));
    other = cursor;
    rConst.gotoFirst();
    EXPECT_EQ(*other.pixels(0), 20);
    EXPECT_EQ(*cursor.pixels(0), 0);
    rConst.Goto(1);
    EXPECT_EQ(cursor.row(1).region(1, 2).nCols(), 2);
    EXPECT_EQ(cursor.row(1).region(1, 2)[1], 22);
}
