#include "calibration/blocks.h"

#include <algorithm>
#include <cmath>

namespace kestrova {

namespace {

constexpr std::int32_t sk_nOrder = 4; // of the splines: knots of an axis minus its coefficients
// So few coefficients of an axis may stand on any finite knots: values without meaning, but soon found.
constexpr std::int32_t sk_nFewCoefs = 32;

bool startsWith(const std::string& rLine, const char* pszKeyword)
{
    const char* pszCursor = rLine.c_str();
    return match_token(&pszCursor, pszKeyword, true);
}

/**
 * The lines of the first block with that id, none if there is no such block. A block that nothing closes has no lines,
 * however complete it is.
 */
CalibrationLines findBlock(CalibrationLines lines, const char* pszBegin, const char* pszEnd, std::int32_t nId)
{
    std::size_t uBegin = lines.size();
    for (std::size_t uLine = 0; uLine < lines.size(); ++uLine) {
        const bool bOpens = startsWith(lines[uLine], pszBegin);
        if (!bOpens && !startsWith(lines[uLine], pszEnd)) {
            continue;
        }
        if (uBegin < uLine) {
            const CalibrationLines block = lines.subspan(uBegin, uLine - uBegin);
            std::int32_t nFound = 0;
            if (parseTokenInt("ID", block, &nFound) && nFound == nId) {
                return block;
            }
        }
        uBegin = bOpens ? uLine : lines.size();
    }
    return {};
}

bool parseChannel(CalibrationLines block, std::int32_t* pnChannel)
{
    static constexpr struct
    {
        const char* pszWord;
        std::int32_t nChannel;
    } sk_aChannels[] = {{"RED", 0}, {"GREEN", 1}, {"BLUE", 2}, {"COLOR", sk_nColorChannel}};
    for (const auto& rChannel : sk_aChannels) {
        if (parseTokenToken("CHANNEL", rChannel.pszWord, block)) {
            *pnChannel = rChannel.nChannel;
            return true;
        }
    }
    return false;
}

bool parseCameraKeywords(CalibrationLines block, CameraData* pCamera)
{
    // The two adjustments may be absent, which leaves them 0.
    static_cast<void>(
        parseTokenDoubleDouble("RECTFACTOR", block, &pCamera->m_adRectFactor[0], &pCamera->m_adRectFactor[1]));
    static_cast<void>(
        parseTokenDoubleDouble("RAWFACTOR", block, &pCamera->m_adRawFactor[0], &pCamera->m_adRawFactor[1]));
    return parseTokenDouble("GAIN", block, &pCamera->m_dGain) && parseTokenInts("WARP", block, pCamera->m_anWarpIds) &&
           parseTokenInts("IWARP", block, pCamera->m_anIwarpIds) &&
           parseTokenInts("POSITION", block, pCamera->m_anPosition) && parseChannel(block, &pCamera->m_nChannel);
}

/**
 * The spline reads n + 4 knots of each list, whatever the count of knots says: fewer make the block a bad one. Since
 * the knots of a list stand on one line, this bounds n and its square too.
 */
bool parseCounts(CalibrationLines block, WarpData* pWarp)
{
    return parseTokenInt("NUMBERKNOTS", block, &pWarp->m_nNumKnots) &&
           parseTokenIntInt("NUMBERCOEFS", block, &pWarp->m_nNumCoefsX, &pWarp->m_nNumCoefsY) &&
           pWarp->m_nNumKnots >= 1 && pWarp->m_nNumCoefsX >= 1 && pWarp->m_nNumCoefsX == pWarp->m_nNumCoefsY &&
           pWarp->m_nNumKnots - sk_nOrder >= pWarp->m_nNumCoefsX;
}

bool areFinite(const std::vector<double>& rValues)
{
    return std::all_of(rValues.begin(), rValues.end(), [](double d) { return std::isfinite(d); });
}

/**
 * Whether at any place at most four basis functions are not zero. Where knots go back and forth, or lie so close that a
 * quotient overflows, all of them may be, and each pixel would take the square of their number.
 */
bool makeSparseBasis(const double* pdKnots, std::int32_t nKnots)
{
    constexpr double sk_dHuge = 1e100;
    for (std::int32_t i = 0; i < nKnots; ++i) {
        const double dStep = i > 0 ? pdKnots[i] - pdKnots[i - 1] : 0.0;
        if (std::fabs(pdKnots[i]) > sk_dHuge || (dStep != 0.0 && dStep < 1 / sk_dHuge)) {
            return false;
        }
    }
    return true;
}

bool isUsable(const WarpData& r)
{
    const std::int32_t nKnots = r.m_nNumCoefsX + sk_nOrder;
    return areFinite(r.m_knotsX) && areFinite(r.m_knotsY) && areFinite(r.m_coefs) &&
           (r.m_nNumCoefsX <= sk_nFewCoefs ||
            (makeSparseBasis(r.m_knotsX.data(), nKnots) && makeSparseBasis(r.m_knotsY.data(), nKnots)));
}

} // namespace

bool parseWarp(CalibrationLines lines, std::int32_t nId, WarpData* pWarp)
{
    const CalibrationLines block = findBlock(lines, "BEGINWARP", "ENDWARP", nId);
    WarpData warp;
    warp.m_nId = nId;
    if (!parseCounts(block, &warp) || !parseTokenDoubles("KNOTSX", block, &warp.m_knotsX, warp.m_nNumKnots) ||
        !parseTokenDoubles("KNOTSY", block, &warp.m_knotsY, warp.m_nNumKnots) ||
        !parseTokenDoubleList("COEFS", block, &warp.m_coefs, warp.m_nNumCoefsX * warp.m_nNumCoefsY) ||
        !isUsable(warp)) {
        return false;
    }
    *pWarp = std::move(warp);
    return true;
}

bool parseCamera(CalibrationLines lines, std::int32_t nId, CameraData* pCamera)
{
    const CalibrationLines block = findBlock(lines, "BEGINCAMERA", "ENDCAMERA", nId);
    CameraData camera;
    camera.m_nId = nId;
    if (!parseCameraKeywords(block, &camera)) {
        return false;
    }
    const std::int32_t anIds[] = {camera.m_anWarpIds[0], camera.m_anWarpIds[1], camera.m_anIwarpIds[0],
                                  camera.m_anIwarpIds[1]};
    for (std::size_t uWarp = 0; uWarp < camera.m_warps.size(); ++uWarp) {
        if (!parseWarp(lines, anIds[uWarp], &camera.m_warps[uWarp])) {
            return false;
        }
    }
    *pCamera = std::move(camera);
    return true;
}

} // namespace kestrova
