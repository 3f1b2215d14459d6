// Every form of every row kernel against a naive model, at every alignment and length around its groups.
#include "kernels/InstructionSet.h"

#include "kernels/models.h"
#include "kernels/processor.h"
#include "support/rows.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace kestrova;
using support::GuardedRow;
using support::seededValues;

namespace {

using U8 = std::uint8_t;
using U16 = std::uint16_t;

/** Where the rows of one trial lie: the leading row at m_nOffset bytes past a boundary, all others elsewhere. */
struct Trial
{
    const KernelForm& m_rForm;
    int m_nOffset;
    int m_n;
    unsigned m_uSeed;

    /** Row number nRow of the trial: 0 leads, that is, its alignment decides where a body starts. */
    template<typename T>
    [[nodiscard]] GuardedRow<T> row(int nRow, int nMore = 0) const
    {
        const int nBytes = (m_nOffset + 11 * nRow) % 32 / static_cast<int>(sizeof(T)) * static_cast<int>(sizeof(T));
        const auto uCount = static_cast<std::size_t>(std::max(0, m_n + nMore));
        return GuardedRow<T>(seededValues<T>(uCount, m_uSeed + static_cast<unsigned>(nRow)), nBytes);
    }

    [[nodiscard]] bool inPlace() const { return m_n % 3 == 1; }
};

template<typename T>
void expectRow(GuardedRow<T>& rRow, const std::vector<T>& rExpected, const char* pszWhat = "out")
{
    EXPECT_EQ(rRow.values(), rExpected) << pszWhat;
    EXPECT_TRUE(rRow.intact()) << pszWhat << " written outside";
}

template<auto pKernel, auto model>
void checkAccumulation(const Trial& t)
{
    auto acc = t.row<U8>(0), a = t.row<U8>(1), b = t.row<U8>(2);
    std::vector<U8> expected = acc.values();
    for (int i = 0; i < t.m_n; ++i) {
        expected[i] = model(acc.data(), i, t.m_n, std::abs(a.data()[i] - b.data()[i]));
    }
    (t.m_rForm.*pKernel)(acc.data(), a.data(), b.data(), t.m_n);
    expectRow(acc, expected);
}

void checkRowAddAndCopy(const Trial& t)
{
    auto out = t.row<U16>(0), a = t.row<U16>(1), b = t.row<U16>(2);
    GuardedRow<U16>& rTarget = t.inPlace() ? a : out;
    std::vector<U16> expected = a.values();
    for (int i = 0; i < t.m_n; ++i) {
        expected[i] = static_cast<U16>((expected[i] + b.data()[i]) % 65536);
    }
    t.m_rForm.row_add(rTarget.data(), a.data(), b.data(), t.m_n);
    expectRow(rTarget, expected, "sum");
    t.m_rForm.row_copy16(rTarget.data(), b.data(), t.m_n);
    expectRow(rTarget, b.values(), "copy");
}

void checkRunningSum(const Trial& t)
{
    auto out = t.row<U16>(0);
    auto add = t.row<U8>(1), sub = t.row<U8>(2);
    const unsigned uStart = t.m_uSeed % 2 == 0 ? 0 : 0xFFFFFF80U; // the second wraps from the first pixels on
    std::vector<U16> expected = out.values();
    long long nSum = uStart;
    for (int i = 0; i < t.m_n; ++i) {
        nSum += add.data()[i] - sub.data()[i];
        expected[i] = static_cast<U16>(nSum & 0xFFFF);
    }
    t.m_rForm.box_add_sub16(out.data(), uStart, add.data(), sub.data(), t.m_n);
    expectRow(out, expected);
}

template<typename T, auto pKernel>
void checkRowInRowOut(const Trial& t)
{
    auto out = t.row<U16>(0), in = t.row<U16>(1);
    auto add = t.row<T>(2), sub = t.row<T>(3);
    GuardedRow<U16>& rTarget = t.inPlace() ? in : out;
    std::vector<U16> expected = in.values();
    for (int i = 0; i < t.m_n; ++i) {
        expected[i] = static_cast<U16>((65536 + expected[i] + add.data()[i] - sub.data()[i]) % 65536);
    }
    (t.m_rForm.*pKernel)(rTarget.data(), in.data(), add.data(), sub.data(), t.m_n);
    expectRow(rTarget, expected);
}

/** Half of the scores tie with the best or lie next to it; the labels are small, so that 0 and newLabel - 1 occur. */
struct MinimumRows
{
    explicit MinimumRows(const Trial& t)
        : m_best(t.row<U16>(0)), m_before(t.row<U16>(1)), m_after(t.row<U16>(2)), m_last(t.row<U16>(3)),
          m_scores(t.row<U16>(4)), m_labels(t.row<U8>(5)),
          m_ucNew(t.m_uSeed % 5 == 0 ? 255 : static_cast<U8>(1 + t.m_uSeed % 3))
    {
        for (int i = 0; i < t.m_n; ++i) {
            const unsigned uKind = m_last.data()[i] % 6U;
            if (uKind < 3) {
                m_scores.data()[i] = static_cast<U16>(m_best.data()[i] + uKind - 1);
            }
            m_labels.data()[i] = static_cast<U8>(m_labels.data()[i] % 4 + (m_ucNew == 255 ? 252 : 0));
        }
    }

    GuardedRow<U16> m_best, m_before, m_after, m_last, m_scores;
    GuardedRow<U8> m_labels;
    U8 m_ucNew;
};

void checkMinimum(const Trial& t)
{
    for (const bool bSubpixel : {false, true}) {
        MinimumRows r(t), expected(t);
        for (int i = 0; i < t.m_n; ++i) {
            models::keepMinimum(expected.m_best.data(), i, t.m_n, t.m_rForm.m_bSSE2, expected.m_labels.data()[i],
                                bSubpixel ? expected.m_before.data() + i : nullptr,
                                bSubpixel ? expected.m_after.data() + i : nullptr, expected.m_last.data()[i],
                                expected.m_scores.data()[i], r.m_ucNew);
        }
        if (bSubpixel) {
            t.m_rForm.stereo_min_subpix(r.m_best.data(), r.m_labels.data(), r.m_before.data(), r.m_after.data(),
                                        r.m_last.data(), r.m_scores.data(), r.m_ucNew, t.m_n);
        } else {
            t.m_rForm.stereo_min(r.m_best.data(), r.m_labels.data(), r.m_scores.data(), r.m_ucNew, t.m_n);
        }
        expectRow(r.m_best, expected.m_best.values(), "best");
        expectRow(r.m_labels, expected.m_labels.values(), "label");
        expectRow(r.m_before, expected.m_before.values(), "before");
        expectRow(r.m_after, expected.m_after.values(), "after");
    }
}

void checkScaling(const Trial& t)
{
    // Means of 1, 2, 9 and 49 pixels, gains up to the largest, and factors whose low half reads as negative.
    for (const int nScale : {65536, 32768, 7281, 1337, 81920, 98304, 70000, 655360, 0, 1, -1, -98304, 0x7FFFFFFF}) {
        auto sums = t.row<U16>(0);
        auto packed = t.row<U8>(1);
        auto scaled = t.row<U16>(2);
        std::vector<U8> expectedPacked = packed.values();
        std::vector<U16> expectedScaled = scaled.values();
        for (int i = 0; i < t.m_n; ++i) {
            const int nSum = sums.data()[i] < 32768 ? sums.data()[i] : sums.data()[i] - 65536;
            const auto nValue = static_cast<long long>(std::floor(static_cast<double>(nSum) * nScale / 65536.0));
            const int nLanes = static_cast<int>(((nValue % 65536) + 65536 + 32768) % 65536) - 32768;
            const bool bGroup = models::inWholeBlock(sums.data(), i, t.m_n, 8, 8);
            expectedPacked[i] = static_cast<U8>(bGroup ? std::min(255, std::max(0, nLanes)) : nLanes & 255);
            expectedScaled[i] = static_cast<U16>(nLanes & 0xFFFF);
        }
        t.m_rForm.row_pack_op(packed.data(), t.m_n, sums.data(), nScale);
        expectRow(packed, expectedPacked, "packed");
        GuardedRow<U16>& rTarget = t.inPlace() ? sums : scaled;
        t.m_rForm.row_scale_op(rTarget.data(), t.m_n, sums.data(), nScale);
        expectRow(rTarget, expectedScaled, "scaled");
    }
}

void checkPackedBox(const Trial& t)
{
    for (const int w : {1, 2, 5, std::max(1, t.m_n), t.m_n + 1}) {
        if (w < 1) {
            continue;
        }
        auto in = t.row<U8>(1, 4 * (t.m_n + w - 1) - t.m_n);
        auto out = t.row<U16>(0, 3 * t.m_n);
        std::vector<U16> expected = out.values();
        for (int i = 0; w <= t.m_n && i < 4 * t.m_n; ++i) {
            unsigned uSum = 0;
            for (int j = 0; j < w; ++j) {
                uSum += in.data()[i + 4 * j];
            }
            expected[static_cast<std::size_t>(i)] = static_cast<U16>(uSum);
        }
        t.m_rForm.box8x4_hfilter(reinterpret_cast<Pixel16x4*>(out.data()), reinterpret_cast<const Pixel8x4*>(in.data()),
                                 static_cast<unsigned>(std::max(0, t.m_n)), static_cast<unsigned>(w));
        expectRow(out, expected);
    }
}

/** The plain form, which tests of its own hold to the rules, in lanes; ties and scores never seen are common. */
void checkInterpolation(const Trial& t)
{
    MinimumRows r(t);
    auto out = t.row<U16>(6), validation = t.row<U16>(7);
    for (int i = 0; i < t.m_n; ++i) {
        for (GuardedRow<U16>* pRow : {&r.m_best, &r.m_before, &r.m_after}) {
            pRow->data()[i] = static_cast<U16>(pRow->data()[i] % (t.m_uSeed % 3 == 0 ? 40U : 32770U));
        }
        r.m_best.data()[i] = static_cast<U16>(r.m_best.data()[i] / (1 + i % 4));
    }
    const auto isOdd = [&](unsigned uBit) { return (t.m_uSeed >> uBit) % 2 != 0; };
    const RowInterpolation settings{static_cast<U16>(isOdd(0) ? 1 : 0),
                                    isOdd(1)   ? 0x10000
                                    : isOdd(2) ? 0x7000
                                               : 0,
                                    static_cast<U8>(isOdd(3) ? 1 : 0),
                                    static_cast<U8>(isOdd(4) ? 3 : 255),
                                    0xFF,
                                    0xA1,
                                    0xA2,
                                    0xA3};
    std::vector<U16> expected = out.values();
    row_interpolation(expected.data(), t.m_n, r.m_best.data(), r.m_before.data(), r.m_after.data(), r.m_labels.data(),
                      validation.data(), settings);
    t.m_rForm.row_interpolation(out.data(), t.m_n, r.m_best.data(), r.m_before.data(), r.m_after.data(),
                                r.m_labels.data(), validation.data(), settings);
    expectRow(out, expected);
}

void checkRunningDifferences(const Trial& t)
{
    for (unsigned uKind = 0; uKind < 8 && t.m_rForm.running_differences != nullptr; ++uKind) {
        const bool bAverage = uKind % 2 != 0, bLeaving = uKind / 2 % 2 != 0;
        const int nImages = uKind < 4 ? 2 : 3, n = std::max(0, t.m_n), nGroup = bAverage ? 8 : 16;
        GuardedRow<U8> aRows[] = {t.row<U8>(1), t.row<U8>(2), t.row<U8>(3), t.row<U8>(4), t.row<U8>(5), t.row<U8>(6)};
        const DifferenceRows rows{{aRows[0].data(), aRows[1].data(), aRows[2].data()},
                                  {aRows[3].data(), aRows[4].data(), aRows[5].data()},
                                  nImages,
                                  n,
                                  n / nGroup * nGroup,
                                  bLeaving,
                                  bAverage};
        const auto difference = [&](const U8* const* ppRows, int i) {
            const int nFirst = std::abs(ppRows[0][i] - ppRows[1][i]);
            const int nBoth = nImages == 2 ? nFirst : nFirst + std::abs(ppRows[0][i] - ppRows[2][i]);
            const int nStopped = i < rows.m_nStopping ? std::min(255, nBoth) : nBoth;
            return nImages == 3 && bAverage ? nStopped / 2 : nStopped % 256;
        };
        auto out = t.row<U16>(0);
        std::vector<U16> expected = out.values();
        int nSum = 0;
        for (int i = 0; i < n; ++i) {
            nSum += difference(rows.m_apArriving, i) - (bLeaving ? difference(rows.m_apLeaving, i) : 0);
            expected[static_cast<std::size_t>(i)] = static_cast<U16>(nSum & 0xFFFF);
        }
        const bool bDone = t.m_rForm.running_differences(out.data(), rows);
        EXPECT_TRUE(bDone || n < 64) << "no row of a whole register is too short";
        expectRow(out, bDone ? expected : t.row<U16>(0).values());
    }
}

struct Case
{
    const char* m_pszName;
    void (*m_pCheck)(const Trial&);
};

class Kernels : public testing::TestWithParam<Case>
{
};

TEST_P(Kernels, MatchTheirModelsAtEveryLengthAndAlignment)
{
    const auto checkForm = [](const KernelForm& rForm) {
        for (int nOffset = 0; nOffset < 32; ++nOffset) {
            for (int i = -1; i <= 50; ++i) {
                const int n = i < 50 ? i : 333; // a row of many groups comes last
                GetParam().m_pCheck({rForm, nOffset, n, static_cast<unsigned>(97 * nOffset + n + 1)});
                ASSERT_FALSE(HasFailure()) << rForm.m_pszName << ", offset " << nOffset << ", n " << n;
            }
        }
    };
    for (const InstructionSet* pSet : supportedInstructionSets()) {
        for (const KernelForm& rForm : pSet->m_aRowKernels) {
            checkForm(rForm);
        }
    }
}

const Case sk_aCases[] = {
    {"abs_diff", checkAccumulation<&KernelForm::abs_diff, models::difference>},
    {"acc_abs_diff", checkAccumulation<&KernelForm::acc_abs_diff, models::accumulated>},
    {"acc_abs_diff_over2", checkAccumulation<&KernelForm::acc_abs_diff_over2, models::averaged>},
    {"row_add_copy16", checkRowAddAndCopy},
    {"box_add_sub16", checkRunningSum},
    {"box_add_sub8ptr", checkRowInRowOut<U8, &KernelForm::box_add_sub8ptr>},
    {"box_add_sub16ptr", checkRowInRowOut<U16, &KernelForm::box_add_sub16ptr>},
    {"stereo_min_subpix", checkMinimum},
    {"row_pack_scale_op", checkScaling},
    {"box8x4_hfilter", checkPackedBox},
    {"row_interpolation", checkInterpolation},
    {"running_differences", checkRunningDifferences},
};

INSTANTIATE_TEST_SUITE_P(All, Kernels, testing::ValuesIn(sk_aCases),
                         [](const auto& rInfo) { return std::string(rInfo.param.m_pszName); });

// The switches are process-wide: each test leaves them as the processor has them.
TEST(Processor, SwitchesDecideOnceAndAreIndependent)
{
    const struct
    {
        void (*m_pEnable)(bool);
        bool (*m_pIs)();
        bool (*m_pAvailable)();
        unsigned m_uBit;
    } aSwitches[] = {{enableMMXIfAvailable, isMMX, mmxAvailable, 23},
                     {enableSSEIfAvailable, isSSE, sseAvailable, 25},
                     {enableSSE2IfAvailable, isSSE2, sse2Available, 26}};
    for (const auto& rSwitch : aSwitches) {
        rSwitch.m_pEnable(false); // before any query: the first one must not bring it back
        EXPECT_EQ(rSwitch.m_pAvailable(), (cpuid_features() >> rSwitch.m_uBit & 1) == 1);
        for (const auto& rOther : aSwitches) {
            EXPECT_EQ(rOther.m_pIs(), &rOther != &rSwitch && rOther.m_pAvailable());
        }
        rSwitch.m_pEnable(true);
        EXPECT_EQ(rSwitch.m_pIs(), rSwitch.m_pAvailable());
    }
}

} // namespace
