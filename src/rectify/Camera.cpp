#include "rectify/Camera.h"

#include "rectify/lowpass.h"

#include "rectify/warpSample.h"

#include <utility>

namespace kestrova {

Camera::Camera(std::unique_ptr<WarpMapFunc> pForward, std::unique_ptr<WarpMapFunc> pInverse, double dFocalLengthRows,
               double dFocalLengthCols, double dGain, double dRectX, double dRectY, double dRawX, double dRawY)
    : m_dFocalLengthRows(dFocalLengthRows), m_dFocalLengthCols(dFocalLengthCols), m_dGain(dGain),
      m_dRectAdjustmentX(dRectX), m_dRectAdjustmentY(dRectY), m_dRawAdjustmentX(dRawX), m_dRawAdjustmentY(dRawY),
      m_pForwardMap(std::move(pForward)), m_pInverseMap(std::move(pInverse))
{
    dropWarpers();
}

namespace {

std::unique_ptr<WarpMapFunc> copyMap(const WarpMapFunc* pMap)
{
    if (pMap == nullptr) {
        return nullptr;
    }
    std::unique_ptr<WarpMapFunc> pCopy = pMap->clone();
    double dX = 0;
    double dY = 0;
    pMap->getSourceAdjustment(&dX, &dY);
    pCopy->setSourceAdjustment(dX, dY);
    pMap->getDestinationAdjustment(&dX, &dY);
    pCopy->setDestinationAdjustment(dX, dY);
    return pCopy;
}

} // namespace

Camera::Camera(const Camera& rOther)
    : Camera(copyMap(rOther.forwardMap()), copyMap(rOther.inverseMap()), rOther.m_dFocalLengthRows,
             rOther.m_dFocalLengthCols, rOther.m_dGain, rOther.m_dRectAdjustmentX, rOther.m_dRectAdjustmentY,
             rOther.m_dRawAdjustmentX, rOther.m_dRawAdjustmentY)
{}

Camera& Camera::operator=(const Camera& rOther)
{
    if (this != &rOther) {
        m_dFocalLengthRows = rOther.m_dFocalLengthRows;
        m_dFocalLengthCols = rOther.m_dFocalLengthCols;
        m_dGain = rOther.m_dGain;
        m_dRectAdjustmentX = rOther.m_dRectAdjustmentX;
        m_dRectAdjustmentY = rOther.m_dRectAdjustmentY;
        m_dRawAdjustmentX = rOther.m_dRawAdjustmentX;
        m_dRawAdjustmentY = rOther.m_dRawAdjustmentY;
        m_pForwardMap = copyMap(rOther.forwardMap());
        m_pInverseMap = copyMap(rOther.inverseMap());
    }
    dropWarpers();
    return *this;
}

Camera::~Camera() = default;

void Camera::dropWarpers()
{
    m_pCurrentWarper = nullptr;
    // Without room the list stays full at nothing, and the next lookup tries again.
    static_cast<void>(m_warpers.init());
    m_warpers.setWarpFunc(m_pForwardMap.get());
}

void Camera::deleteWarpMapFuncs()
{
    m_pForwardMap.reset();
    m_pInverseMap.reset();
    dropWarpers();
}

namespace {

/** The key as the built warper keeps it, so that a request outside the ranges finds the warper it led to. */
WarperKey builtKey(WarperKey key)
{
    key.m_nSubpixelRowOffset = subpixelOffset(key.m_nSubpixelRowOffset);
    key.m_nSubpixelColOffset = subpixelOffset(key.m_nSubpixelColOffset);
    if (key.m_eKernelType < KernelNearest || key.m_eKernelType > KernelGauss) {
        key.m_eKernelType = KernelBilinear;
    }
    return key;
}

} // namespace

const Warper* Camera::getWarper(const WarperKey& rKey)
{
    const std::lock_guard lock(m_mutex);
    m_pCurrentWarper = m_warpers.find(builtKey(rKey));
    if (m_pCurrentWarper != nullptr || (m_warpers.isFull() && !m_warpers.reallocate())) {
        return m_pCurrentWarper;
    }
    std::unique_ptr<Warper> pWarper = m_warpers.buildWarper(rKey);
    if (pWarper != nullptr) {
        m_pCurrentWarper = m_warpers.append(std::move(pWarper));
    }
    return m_pCurrentWarper;
}

namespace {

bool isAdjustment(double dValue)
{
    return dValue >= -1.0 && dValue <= 1.0;
}

} // namespace

Image<unsigned char> Camera::lowpassScratch(const ImageDim& rSize, const ImageDim& rMask)
{
    const std::lock_guard lock(m_mutex);
    if (m_lowpassScratch.buffer().isShared()) {
        return blackScratch<unsigned char>(rSize);
    }
    if (m_lowpassScratch.size() != rSize) {
        m_lowpassScratch = blackScratch<unsigned char>(rSize);
    } else if (m_scratchMask != rMask) {
        m_lowpassScratch.init(0);
    }
    m_scratchMask = rMask;
    return m_lowpassScratch;
}

bool Camera::setRectifiedAdjustment(double dX, double dY)
{
    if (!isAdjustment(dX) || !isAdjustment(dY)) {
        return false;
    }
    m_dRectAdjustmentX = dX;
    m_dRectAdjustmentY = dY;
    if (m_pForwardMap != nullptr) {
        m_pForwardMap->setDestinationAdjustment(dX, dY);
    }
    if (m_pInverseMap != nullptr) {
        m_pInverseMap->setSourceAdjustment(dX, dY);
    }
    dropWarpers();
    return true;
}

bool Camera::setRawAdjustment(double dX, double dY)
{
    if (!isAdjustment(dX) || !isAdjustment(dY)) {
        return false;
    }
    m_dRawAdjustmentX = dX;
    m_dRawAdjustmentY = dY;
    if (m_pForwardMap != nullptr) {
        m_pForwardMap->setSourceAdjustment(dX, dY);
    }
    if (m_pInverseMap != nullptr) {
        m_pInverseMap->setDestinationAdjustment(dX, dY);
    }
    dropWarpers();
    return true;
}

void Camera::getRectifiedAdjustment(double* pdX, double* pdY) const
{
    *pdX = m_dRectAdjustmentX;
    *pdY = m_dRectAdjustmentY;
}

void Camera::getRawAdjustment(double* pdX, double* pdY) const
{
    *pdX = m_dRawAdjustmentX;
    *pdY = m_dRawAdjustmentY;
}

} // namespace kestrova
