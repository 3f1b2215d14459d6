// Row kernels in every form that this processor runs, in pixels per second, on rows of 640.
#include "kernels/InstructionSet.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr int sk_nPixels = 640;

struct Rows
{
    std::vector<std::uint8_t> m_first = std::vector<std::uint8_t>(sk_nPixels + 32, 37);
    std::vector<std::uint8_t> m_second = std::vector<std::uint8_t>(sk_nPixels + 32, 101);
    std::vector<std::uint8_t> m_out8 = std::vector<std::uint8_t>(sk_nPixels + 32);
    std::vector<std::uint16_t> m_scores = std::vector<std::uint16_t>(sk_nPixels + 32, 900);
    std::vector<std::uint16_t> m_best = std::vector<std::uint16_t>(sk_nPixels + 32, 1000);
    std::vector<std::uint16_t> m_out16 = std::vector<std::uint16_t>(sk_nPixels + 32);
};

template<typename Kernel>
void add(const char* pszForm, const char* pszKernel, Kernel kernel)
{
    benchmark::RegisterBenchmark((std::string(pszKernel) + "/" + pszForm).c_str(), [kernel](benchmark::State& rState) {
        Rows rows;
        for (auto _ : rState) {
            kernel(rows);
            benchmark::ClobberMemory();
        }
        rState.SetItemsProcessed(rState.iterations() * sk_nPixels);
    });
}

void addForm(const kestrova::KernelForm* pForm)
{
    const char* pszName = pForm->m_pszName;
    add(pszName, "abs_diff",
        [=](Rows& r) { pForm->abs_diff(r.m_out8.data(), r.m_first.data(), r.m_second.data(), sk_nPixels); });
    add(pszName, "acc_abs_diff",
        [=](Rows& r) { pForm->acc_abs_diff(r.m_out8.data(), r.m_first.data(), r.m_second.data(), sk_nPixels); });
    add(pszName, "box_add_sub16",
        [=](Rows& r) { pForm->box_add_sub16(r.m_out16.data(), 0, r.m_first.data(), r.m_second.data(), sk_nPixels); });
    add(pszName, "stereo_min",
        [=](Rows& r) { pForm->stereo_min(r.m_best.data(), r.m_out8.data(), r.m_scores.data(), 5, sk_nPixels); });
    add(pszName, "row_pack_op",
        [=](Rows& r) { pForm->row_pack_op(r.m_out8.data(), sk_nPixels, r.m_scores.data(), 1337); });
}

} // namespace

int main(int argc, char** argv)
{
    for (const kestrova::InstructionSet* pSet : kestrova::supportedInstructionSets()) {
        for (const kestrova::KernelForm& rForm : pSet->m_aRowKernels) {
            addForm(&rForm);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
