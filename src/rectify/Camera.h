// One calibrated camera of a set: its gain, its two maps and the warpers built from them.
//
// All copies of a context share its cameras. Lookups and scratch may be asked for on several threads at once; changes
// of adjustment, assignment and deleteWarpMapFuncs drop warpers that others may be using, and need the camera for
// themselves.
#pragma once

#include "image/Image.h"
#include "rectify/WarpMapFunc.h"
#include "rectify/WarperList.h"

#include <memory>
#include <mutex>

namespace kestrova {

class Camera
{
public:
    /**
     * @param pForward  rectified to raw; warpers are built from it
     * @param pInverse  raw to rectified
     * @param dGain     multiplies what the lowpass gives
     * @param dRectX .. dRawY  the adjustments that both maps carry already
     */
    Camera(std::unique_ptr<WarpMapFunc> pForward, std::unique_ptr<WarpMapFunc> pInverse, double dFocalLengthRows,
           double dFocalLengthCols, double dGain, double dRectX, double dRectY, double dRawX, double dRawY);
    /** Clones the maps with their adjustments; the copy has no warpers yet. */
    Camera(const Camera& rOther);
    /** As copying. Assignment to itself drops the warpers. */
    Camera& operator=(const Camera& rOther);
    ~Camera();

    void deleteWarpMapFuncs();

    /**
     * The warper for this key, built and kept if there is none yet. The camera owns it until an adjustment
     * changes or the camera goes.
     *
     * @return null when WarperList::buildWarper gives none or the list cannot grow
     */
    const Warper* getWarper(const WarperKey& rKey);
    /** The same as a list. Nothing in the library calls it. */
    const Warper* getWarper(int nDstRows, int nDstCols, int nSrcRows, int nSrcCols, int nStride, int nRowOffset,
                            int nColOffset, KernelType eKernelType, int nKernelSize)
    {
        return getWarper(
            {nDstRows, nDstCols, nSrcRows, nSrcCols, nStride, nRowOffset, nColOffset, eKernelType, nKernelSize});
    }
    /** What the last lookup gave; null before the first and after a change of adjustment. */
    [[nodiscard]] const Warper* currentWarper() const { return m_pCurrentWarper; }

    /**
     * An image for the lowpass of a frame of that size, kept from frame to frame; another one while somebody still
     * holds the one that is kept. Black before its first frame and whenever size or mask change: what the fused warp
     * leaves of the border must not depend on earlier frames, and the rest is written anew each time.
     */
    [[nodiscard]] Image<unsigned char> lowpassScratch(const ImageDim& rSize, const ImageDim& rMask);

    /**
     * Shifts the rectified image, in fractions of its size; the two maps stay inverse to each other and all warpers go.
     * False, and nothing changed, unless both values lie within -1 to 1.
     */
    [[nodiscard]] bool setRectifiedAdjustment(double dX, double dY);
    /** As setRectifiedAdjustment, for the raw image. */
    [[nodiscard]] bool setRawAdjustment(double dX, double dY);
    void getRectifiedAdjustment(double* pdX, double* pdY) const;
    void getRawAdjustment(double* pdX, double* pdY) const;

    [[nodiscard]] double gain() const { return m_dGain; }
    [[nodiscard]] double focalLengthRows() const { return m_dFocalLengthRows; }
    [[nodiscard]] double focalLengthCols() const { return m_dFocalLengthCols; }
    /** Rectified to raw; null after deleteWarpMapFuncs. */
    [[nodiscard]] const WarpMapFunc* forwardMap() const { return m_pForwardMap.get(); }
    /** Raw to rectified; likewise. */
    [[nodiscard]] const WarpMapFunc* inverseMap() const { return m_pInverseMap.get(); }
    [[nodiscard]] const WarperList& warpers() const { return m_warpers; }

private:
    void dropWarpers();

    double m_dFocalLengthRows;
    double m_dFocalLengthCols;
    double m_dGain;
    double m_dRectAdjustmentX; // column direction
    double m_dRectAdjustmentY; // row direction
    double m_dRawAdjustmentX;
    double m_dRawAdjustmentY;
    std::mutex m_mutex;                       // for lookups and scratch
    const Warper* m_pCurrentWarper = nullptr; // borrowed from m_warpers
    std::unique_ptr<WarpMapFunc> m_pForwardMap;
    std::unique_ptr<WarpMapFunc> m_pInverseMap;
    WarperList m_warpers;
    Image<unsigned char> m_lowpassScratch; // not copied: every camera takes its own
    ImageDim m_scratchMask{};
};

} // namespace kestrova
