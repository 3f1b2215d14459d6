// Image containers: layout of storage, frames of views, fills, and counting of references.
#include "image/ImageRow.h"
#include "support/rows.h"

#include <gmock/gmock.h>

#include <thread>

using namespace kestrova;
using support::pixelsOf;
using testing::ElementsAre;

namespace {

using Bytes = Image<unsigned char>;

// Rows, columns, row and column offset in the frame, rows and columns of the frame.
std::vector<int> placeOf(const Bytes& rImage)
{
    return {rImage.nRows(),          rImage.nCols(),           rImage.offset().m_nRows,
            rImage.offset().m_nCols, rImage.maxSize().m_nRows, rImage.maxSize().m_nCols};
}

Bytes numbered(int nRows, int nCols)
{
    Bytes image(nRows, nCols);
    for (int i = 0; i < nRows * nCols; ++i) {
        image[i / nCols][i % nCols] = static_cast<unsigned char>(10 * (i / nCols) + i % nCols);
    }
    return image;
}

// The whole stride of every row belongs to the image, the last row's too: the sanitizer watches the write.
template<typename T>
void expectLayout(int nRows, int nCols, int nStride)
{
    Image<T> image(nRows, nCols);
    EXPECT_EQ(image.rowDistance(), nStride) << sizeof(T) << " bytes";
    for (int nRow = 0; nRow < nRows; ++nRow) {
        T* pRow = &image[nRow][0];
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pRow) % 32, 0U);
        std::memset(static_cast<void*>(pRow), 0x5a, static_cast<std::size_t>(nStride) * sizeof(T));
    }
}

} // namespace

TEST(Image, RowsOfOwnStorageStartAndEndOn32Bytes)
{
    expectLayout<unsigned char>(3, 33, 64);
    expectLayout<unsigned short>(1, 17, 32);
    expectLayout<unsigned int>(2, 1, 8);
    expectLayout<Pixel8x4>(2, 9, 16);
    expectLayout<Pixel16x8>(2, 3, 4);
    EXPECT_EQ(rowInc(Image<unsigned short>(1, 17)), 64) << "bytes";
    EXPECT_EQ(rowInc(Bytes(4, 8).region(0, 0, 4, 0)), 0) << "nothing to show";
    EXPECT_THROW(Image<int>(2, 0x3fffffff), std::bad_alloc) << "a negative 32-bit total is refused";
}

TEST(Image, ViewsRememberTheirFrameOnlyWhenTold)
{
    Bytes whole(20, 30);
    const Bytes child(whole, {3, 4, 10, 12}, true);
    const Bytes grandchild(child, {2, 1, 5, 6}, true);
    EXPECT_THAT(placeOf(Bytes(grandchild)), ElementsAre(5, 6, 5, 5, 20, 30)) << "a copy keeps the frame";
    EXPECT_THAT(placeOf(ImageRow<unsigned char>(grandchild)), ElementsAre(5, 6, 5, 5, 20, 30));
    const Bytes cropped = grandchild.crop(1, 2, 1, 3);
    EXPECT_THAT(placeOf(cropped), ElementsAre(3, 1, 0, 0, 3, 1)) << "region and crop forget it";
    EXPECT_EQ(cropped.data(), &whole[6][7]);
    Bytes own = child;
    own.shrinkROI();
    EXPECT_THAT(placeOf(own), ElementsAre(10, 12, 0, 0, 10, 12));
    EXPECT_TRUE(whole.region(0, 0, 2, 2).overlap(whole.region(10, 10, 2, 2))) << "one buffer, disjoint rectangles";
    EXPECT_FALSE(Bytes(20, 30, 30, whole.data()).overlap(whole)) << "one memory, two buffers";
    const ImageROI middle = whole.mask({8, 3}); // an even window loses 7 rows
    EXPECT_TRUE(middle.m_nRowOffset == 4 && middle.m_nColOffset == 1 && middle.m_nRows == 13 && middle.m_nCols == 28);
    Bytes constant = Bytes::constImage({100, 4}, 5);
    constant[5][3] = 8;
    EXPECT_EQ(constant[6][3], 8) << "one row for all";
}

TEST(Image, StorageLivesAsLongAsItsLastViewAndCallersMemoryIsLeftAlone)
{
    std::vector<unsigned char> memory(5 * 7, 9);
    Bytes(5, 6, 7, memory.data()).init(1);
    EXPECT_TRUE(memory[5] == 1 && memory[6] == 9 && memory[7] == 1) << "not between the columns and the stride";

    Bytes survivor = numbered(4, 4);
    survivor = survivor.region(1, 1, 2, 2);
    survivor = survivor.region(0, 0, 1, 2); // from a view of the buffer that is let go
    Bytes& rSelf = survivor;
    survivor = rSelf;
    EXPECT_THAT(pixelsOf(survivor), ElementsAre(11, 12));
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

TEST(Image, CopiesAndBordersStayInsideTheView)
{
    Bytes wide(3, 5);
    wide.init(99);
    wide.region(0, 1, 2, 3).init(numbered(4, 40));
    EXPECT_THAT(pixelsOf(wide), ElementsAre(99, 0, 1, 2, 99, 99, 10, 11, 12, 99, 99, 99, 99, 99, 99));
    wide.region(0, 1, 3, 3).border(7, 1, 2, 1, 0);
    EXPECT_THAT(pixelsOf(wide), ElementsAre(99, 7, 7, 7, 99, 99, 7, 7, 12, 99, 99, 7, 7, 7, 99));
}

TEST(ImageRow, CursorCountsRowsFromWhereItStands)
{
    const Bytes image = numbered(4, 3);
    ImageRow<unsigned char> cursor(image);
    cursor.gotoLast();
    EXPECT_EQ(cursor.pixels(-1)[1], 21);
    cursor.gotoPrev(2);
    cursor += 1;
    EXPECT_EQ(cursor.row(0).crop(1, 0)[1], 22);
    const ImageRow<unsigned char> copy(cursor);
    cursor.gotoFirst();
    EXPECT_EQ(*copy(0), 20) << "a copy stands where the other stood";
    cursor.Goto(1);
    EXPECT_EQ(cursor.row(1).region(1, 2)[1], 22);
}
