// The functions over plain arrays, whose memory they are told to the byte.
#include "reliability/Sequence.h"

namespace kestrova::test {
namespace {

/** Arrays of one call, in memory that ends where they end; their contents are noted when all is done. */
class Arrays
{
public:
    explicit Arrays(Sequence& r) : m_rSequence(r) {}
    ~Arrays()
    {
        for (const Block& pBlock : m_blocks) {
            m_rSequence.noteBytes(pBlock->as(), pBlock->size());
        }
    }
    Arrays(const Arrays&) = delete;
    Arrays& operator=(const Arrays&) = delete;

    template<class T>
    T* noise(int nCount)
    {
        m_blocks.push_back(
            makeBlock(m_rSequence.random(), sizeof(T) * static_cast<std::size_t>(std::max(nCount, 0)), sizeof(T)));
        return m_blocks.back()->as<T>();
    }
    template<class T>
    T* numbers(int nCount)
    {
        T* const p = noise<T>(nCount);
        for (int i = 0; i < nCount; ++i) {
            p[i] = static_cast<T>(m_rSequence.random().fraction() * 8 - 4);
        }
        return p;
    }

private:
    Sequence& m_rSequence;
    std::vector<Block> m_blocks;
};

/** A call over arrays of random rows and columns. */
Op arrays(const char* pszName, const std::function<void(Sequence&, Arrays&, int, int)>& rCall)
{
    return {pszName, 1, [=](Sequence& r) {
                Arrays blocks(r);
                const int nRows = r.random().between(0, 20), nCols = r.random().between(0, 70);
                rCall(r, blocks, nRows, nCols);
            }};
}

Op two(const char* pszName, void (*pfn)(const std::uint8_t*, const std::uint8_t*, std::uint8_t*, int, int))
{
    return arrays(pszName, [=](Sequence&, Arrays& a, int nRows, int nCols) {
        const int n = nRows * nCols;
        const auto *p = a.noise<std::uint8_t>(n), *q = a.noise<std::uint8_t>(n);
        pfn(p, q, a.noise<std::uint8_t>(n), nRows, nCols);
    });
}

Op sad(const char* pszName, void (*pfn)(const std::uint8_t*, const std::uint8_t*, unsigned*, int, int))
{
    return arrays(pszName, [=](Sequence&, Arrays& a, int nRows, int nCols) {
        const auto *p = a.noise<std::uint8_t>(nRows * nCols), *q = a.noise<std::uint8_t>(nRows * nCols);
        pfn(p, q, a.noise<unsigned>(1), nRows, nCols);
    });
}

Op threshold(const char* pszName, void (*pfn)(const std::uint16_t*, std::uint16_t, std::uint16_t*, int, int))
{
    return arrays(pszName, [=](Sequence& r, Arrays& a, int nRows, int nCols) {
        const auto* p = a.noise<std::uint16_t>(nRows * nCols);
        pfn(p, static_cast<std::uint16_t>(r.random().next()), a.noise<std::uint16_t>(nRows * nCols), nRows, nCols);
    });
}

Op half(const char* pszName, void (*pfn)(const std::uint8_t*, int, int, int, std::uint8_t*))
{
    return arrays(pszName, [=](Sequence& r, Arrays& a, int nRows, int nCols) {
        nRows = nRows / 2 * 2 + 2; // odd sizes are told to reach beyond the image
        nCols = nCols / 2 * 2 + 2;
        const int nRowInc = nCols + r.random().between(0, 9);
        const auto* p = a.noise<std::uint8_t>((nRows - 1) * nRowInc + nCols);
        pfn(p, nRows, nCols, nRowInc, a.noise<std::uint8_t>(nRows * nCols / 4));
    });
}

void eigenvalues(Sequence& r)
{
    Arrays a(r);
    const int n = r.random().between(1, 6);
    double *pA = a.numbers<double>(n * n), *pVectors = a.noise<double>(n * n);
    std::vector<double*> rows, vectors;
    for (int i = 0; i < n; ++i) {
        rows.push_back(pA + i * n);
        vectors.push_back(pVectors + i * n);
    }
    double *pB = a.noise<double>(n), *pZ = a.noise<double>(n);
    std::vector<double> values(static_cast<std::size_t>(n));
    eigen(rows.data(), n, values.data(), pB, pZ, vectors.data(), 1e-12);
    for (const double d : values) {
        r.note(d);
    }
}

void solve(Sequence& r, bool bSubstitute)
{
    Arrays a(r);
    const int n = r.random().between(1, 20);
    double* const pA = a.numbers<double>(n * n);
    if (r.random().oneIn(5)) {
        std::fill_n(pA, n, 0.0);
    }
    int* const pIndex = a.numbers<int>(n);
    double* const pParity = a.numbers<double>(1);
    const int nResult = ludcmp(pA, n, pIndex, pParity);
    r.note(nResult);
    if (nResult == 0 && bSubstitute) {
        r.note(lubksb(pA, n, pIndex, a.numbers<double>(n)));
    }
}

void leastSquaresCall(Sequence& r)
{
    Arrays a(r);
    const int nCols = r.random().between(1, 18), nRows = nCols + r.random().between(0, 9);
    const double *pA = a.numbers<double>(nRows * nCols), *pB = a.numbers<double>(nRows);
    r.note(leastSquares(pA, pB, a.numbers<double>(nCols), nRows, nCols));
}

void inverse(Sequence& r)
{
    Arrays a(r);
    const int n = r.random().between(1, 18);
    double* const pA = a.numbers<double>(n * n);
    r.note(matrixInverse(pA, n, a.numbers<double>(n * n)));
}

void hough(Sequence& r, Arrays& a, int nRows, int nCols)
{
    const int nRowInc = nCols + r.random().between(0, 5), nBytes = 2 * (nCols + r.random().between(0, 5));
    const auto* p = a.noise<std::uint8_t>(nRows > 0 ? (nRows - 1) * nRowInc + nCols : 0);
    LYRImageHoughTransform(p, a.noise<std::uint16_t>(nRows * nBytes / 2), nRows, nCols, nRowInc, nBytes,
                           r.random().between(1, 9));
}

void brightest(Sequence& r, Arrays& a, int nRows, int nCols)
{
    const int nBytes = 2 * (nCols + r.random().between(0, 5));
    const auto* p = a.noise<std::uint16_t>(nRows > 0 ? (nRows - 1) * nBytes / 2 + nCols : 0);
    unsigned *pRow = a.noise<unsigned>(1), *pCol = a.noise<unsigned>(1);
    LYRImage16FindBrightestPixel(p, nRows, nCols, nBytes, pRow, pCol, a.noise<std::uint16_t>(1));
}

} // namespace

std::vector<Op> numericCalls()
{
    return {
        two(KESTROVA_NAMED(LYRImageDifference)),
        two(KESTROVA_NAMED(LYRImageSubtract)),
        sad(KESTROVA_NAMED(LYRImageSAD)),
        sad(KESTROVA_NAMED(LYRImageSADMMX)),
        threshold(KESTROVA_NAMED(LYRImage16ThresholdHighValue)),
        threshold(KESTROVA_NAMED(LYRImage16ThresholdLowValue)),
        half(KESTROVA_NAMED(LYRImageHalfSize)),
        half(KESTROVA_NAMED(LYRImageHalfSizeFast)),
        arrays("LYRImagePixelSum",
               [](Sequence&, Arrays& a, int nRows, int nCols) {
                   const auto* p = a.noise<std::uint8_t>(nRows * nCols);
                   LYRImagePixelSum(p, a.noise<unsigned>(1), nRows, nCols);
               }),
        arrays("LYRImage16FindBrightestPixel", brightest),
        arrays("LYRImageHoughTransform", hough),
        arrays("LYRFloatImageSubtractAndMultiply",
               [](Sequence&, Arrays& a, int nRows, int nCols) {
                   const auto *p = a.numbers<float>(nRows * nCols), *q = a.numbers<float>(nRows * nCols);
                   LYRFloatImageSubtractAndMultiply(p, q, nRows, nCols, a.numbers<float>(nRows * nCols), 0.37F);
               }),
        arrays("LYRFloatImageBilinearSubsample",
               [](Sequence&, Arrays& a, int nRows, int nCols) {
                   const auto* p = a.numbers<float>(nRows * nCols);
                   LYRFloatImageBilinearSubsample(p, nRows, nCols, a.numbers<float>(nRows / 3 * 2 * (nCols / 3 * 2)));
               }),
        arrays("LYRImageSobelMMX",
               [](Sequence&, Arrays& a, int nRows, int nCols) {
                   auto* const p = a.noise<std::uint8_t>(nRows * nCols);
                   LYRImageSobelMMX(p, a.noise<std::uint8_t>(nRows * nCols), nRows, nCols);
               }),
        arrays("LYRMemsetMMX",
               [](Sequence& r, Arrays& a, int, int nBytes) {
                   LYRMemsetMMX(a.noise<std::uint8_t>(nBytes), r.random().between(-300, 300), nBytes);
               }),
        {"eigen", 1, eigenvalues},
        {"ludcmp", 1, [](Sequence& r) { solve(r, false); }},
        {"lubksb", 1, [](Sequence& r) { solve(r, true); }},
        {"leastSquares", 1, leastSquaresCall},
        {"matrixInverse", 1, inverse},
    };
}

} // namespace kestrova::test
