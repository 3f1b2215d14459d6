// Handles and frames for tests that go through the public functions.
#pragma once

#include "kestrova.h"
#include "support/CalibrationText.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace kestrova::test {

struct HandleCloser
{
    void operator()(KestrovaContext handle) const { kestrovaDestroyContext(handle); }
};
/** Goes wherever a context is asked for. */
struct Handle : std::unique_ptr<std::remove_pointer_t<KestrovaContext>, HandleCloser>
{
    using unique_ptr::unique_ptr;
    operator KestrovaContext() const { return get(); }
};

/** The calls of a list, made in order, all went well. */
inline void expectOk(std::initializer_list<KestrovaError> errors, int nLine = __builtin_LINE())
{
    for (const KestrovaError& rError : errors) {
        EXPECT_EQ(rError, KestrovaErrorOk) << "call " << &rError - errors.begin() << " from line " << nLine;
    }
}

/** What a getter of one value gives. */
template<class T>
T got(KestrovaError (*pfnGet)(KestrovaContext, T*), KestrovaContext context)
{
    T value{};
    EXPECT_EQ(pfnGet(context, &value), KestrovaErrorOk);
    return value;
}

inline Handle openText(const std::string& rText)
{
    KestrovaContext handle = nullptr;
    EXPECT_EQ(kestrovaGetDefaultContextFromMemory(&handle, rText.c_str()), KestrovaErrorOk);
    return Handle(handle);
}

inline Handle open(Shape eShape)
{
    return openText(CalibrationText(eShape).text());
}

/** A frame of a set: noise on the right camera, the same moved right on the left and down on the top by a disparity. */
class StereoFrame
{
public:
    StereoFrame(int nRows, int nCols, int nDisparity, int nPad = 0, Shape eShape = Shape::Horizontal)
        : m_nRows(nRows), m_nCols(nCols), m_nRowInc(nCols + nPad), m_planes(3)
    {
        std::mt19937 random(static_cast<unsigned>(nRows * 1000 + nDisparity));
        const auto noise = [&] { return static_cast<std::uint8_t>(random() >> 7); };
        m_planes[0].resize(static_cast<std::size_t>(nRows) * static_cast<std::size_t>(m_nRowInc));
        std::generate(m_planes[0].begin(), m_planes[0].end(), noise);
        const int nBack = eShape == Shape::Horizontal ? nDisparity : nDisparity * m_nRowInc;
        for (const auto& [uPlane, nMove] : {std::pair{1U, nBack}, {2U, nDisparity}}) {
            m_planes[uPlane].resize(m_planes[0].size());
            std::generate_n(m_planes[uPlane].begin(), nMove, noise);
            std::copy(m_planes[0].begin(), m_planes[0].end() - nMove, m_planes[uPlane].begin() + nMove);
        }
    }

    [[nodiscard]] KestrovaInput planes()
    {
        KestrovaInput input{};
        kestrovaBuildRGBKestrovaInput(m_nCols, m_nRows, m_nRowInc, 0, 0, m_planes[0].data(), m_planes[1].data(),
                                      m_planes[2].data(), &input);
        return input;
    }

    /** The same frame as packed pixels; good as long as this object. */
    [[nodiscard]] KestrovaInput packed()
    {
        m_packed.clear();
        for (std::size_t i = 0; i < m_planes[0].size(); ++i) {
            m_packed.insert(m_packed.end(), {m_planes[2][i], m_planes[1][i], m_planes[0][i], 77});
        }
        KestrovaInput input{};
        kestrovaBuildPackedKestrovaInput(m_nCols, m_nRows, 4 * m_nRowInc, 0, 0, m_packed.data(), &input);
        return input;
    }

    /** Red, green or blue, with its padding. */
    [[nodiscard]] std::vector<std::uint8_t>& plane(std::size_t uChannel) { return m_planes[uChannel]; }

private:
    int m_nRows;
    int m_nCols;
    int m_nRowInc;
    std::vector<std::vector<std::uint8_t>> m_planes; // red, green, blue: right, left or top, left
    std::vector<std::uint8_t> m_packed;
};

/** The pixels of a public image record, row by row. */
template<class Record>
auto pixelsOf(const Record& rImage)
{
    using T = std::remove_pointer_t<decltype(rImage.data)>;
    std::vector<T> pixels;
    const auto* pBytes = reinterpret_cast<const std::uint8_t*>(rImage.data);
    for (int nRow = 0; nRow < rImage.nrows; ++nRow, pBytes += rImage.rowinc) {
        const T* pRow = reinterpret_cast<const T*>(pBytes);
        pixels.insert(pixels.end(), pRow, pRow + rImage.ncols);
    }
    return pixels;
}

inline std::vector<std::uint8_t> image(KestrovaContext handle, KestrovaImageType eType, KestrovaCamera eCamera)
{
    KestrovaImage record{};
    EXPECT_EQ(kestrovaGetImage(handle, eType, eCamera, &record), KestrovaErrorOk);
    return pixelsOf(record);
}

inline std::vector<std::uint16_t> disparity16(KestrovaContext handle)
{
    KestrovaImage16 record{};
    EXPECT_EQ(kestrovaGetImage16(handle, KestrovaImg16Disparity, KestrovaCamReference, &record), KestrovaErrorOk);
    return pixelsOf(record);
}

} // namespace kestrova::test
