// The world frame: its transform, transform files, and the point conversions that end or start in it.
#include "api/settingShims.h"
#include "geometry/LYRPoint3d.h"
#include "kestrova.h"

#include <algorithm>
#include <type_traits>

using namespace kestrova;

namespace {

/** Replaces a point by its image: in double, rounded to float at the end. */
void applyTo(LYRTransform3d& rTransform, float* x, float* y, float* z)
{
    double dX = *x;
    double dY = *y;
    double dZ = *z;
    rTransform.apply(dX, dY, dZ);
    *x = static_cast<float>(dX);
    *y = static_cast<float>(dY);
    *z = static_cast<float>(dZ);
}

/** The camera form, then the way into the world. An error of the camera form leaves what that form leaves. */
template<class Position, class Disparity>
KestrovaError toWorld(KestrovaError (*pfnCameraForm)(KestrovaContext, Position, Position, Disparity, float*, float*,
                                                     float*),
                      KestrovaContext context, std::type_identity_t<Position> row, std::type_identity_t<Position> col,
                      std::type_identity_t<Disparity> disp, float* x, float* y, float* z)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const KestrovaError eError = pfnCameraForm(context, row, col, disp, x, y, z);
        if (eError == KestrovaErrorOk) {
            applyTo(rContext.m_cameraToWorld, x, y, z);
        }
        return eError;
    });
}

void copyMatrix(LYRTransform3d& rFrom, KestrovaTransform* pTo)
{
    std::copy_n(rFrom.data(), 16, &pTo->matrix[0][0]);
}

/** Rows 0 to 2 of the rotation; a row of zeros, or of numbers whose squares vanish, is no rotation. */
bool hasZeroRow(const KestrovaTransform& rTransform)
{
    return std::any_of(rTransform.matrix, rTransform.matrix + 3,
                       [](const double(&r)[4]) { return r[0] * r[0] + r[1] * r[1] + r[2] * r[2] == 0.0; });
}

} // namespace

KestrovaError kestrovaRCDFloatToWorldXYZ(KestrovaContext context, float row, float col, float disp, float* x, float* y,
                                         float* z)
{
    return toWorld(kestrovaRCDFloatToXYZ, context, row, col, disp, x, y, z);
}

KestrovaError kestrovaRCDToWorldXYZ(KestrovaContext context, float row, float col, float disp, float* x, float* y,
                                    float* z)
{
    return toWorld(kestrovaRCDToXYZ, context, row, col, disp, x, y, z);
}

KestrovaError kestrovaRCDMappedToWorldXYZ(KestrovaContext context, int row, int col, unsigned char disp, float* x,
                                          float* y, float* z)
{
    return toWorld(kestrovaRCDMappedToXYZ, context, row, col, disp, x, y, z);
}

KestrovaError kestrovaRCD8ToWorldXYZ(KestrovaContext context, int row, int col, unsigned char disp, float* x, float* y,
                                     float* z)
{
    return toWorld(kestrovaRCD8ToXYZ, context, row, col, disp, x, y, z);
}

KestrovaError kestrovaRCD16ToWorldXYZ(KestrovaContext context, int row, int col, unsigned short disp, float* x,
                                      float* y, float* z)
{
    return toWorld(kestrovaRCD16ToXYZ, context, row, col, disp, x, y, z);
}

KestrovaError kestrovaWorldXYZToRCD(KestrovaContext context, float x, float y, float z, float* row, float* col,
                                    float* disp)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        applyTo(rContext.m_worldToCamera, &x, &y, &z);
        return kestrovaXYZToRCD(context, x, y, z, row, col, disp);
    });
}

KestrovaError kestrovaSetKestrovaToWorldTransform(KestrovaContext context, KestrovaTransform transform)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        if (hasZeroRow(transform)) {
            return KestrovaErrorInvalidRequest;
        }
        for (auto& rRow : transform.matrix) {
            rRow[3] /= transform.matrix[3][3]; // the corner itself comes last
        }
        constexpr double adLastRow[4] = {0, 0, 0, 1};
        std::copy_n(adLastRow, 4, transform.matrix[3]);
        std::copy_n(&transform.matrix[0][0], 16, rContext.m_cameraToWorld.data());
        rContext.m_cameraToWorld.unsetMatrix();
        // The way back is that of the rigid motion nearest at hand: what else the matrix held has no inverse here.
        rContext.m_worldToCamera = rContext.m_cameraToWorld;
        rContext.m_worldToCamera.invert();
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaGetKestrovaToWorldTransform(KestrovaContext context, KestrovaTransform* transform)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        copyMatrix(rContext.m_cameraToWorld, transform);
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaGetTransformFromFile(const char* fileName, KestrovaTransform* transform)
{
    LYRTransform3d motion;
    if (!motion.read(fileName)) {
        return KestrovaErrorTransformFileCorrupt;
    }
    copyMatrix(motion, transform);
    return KestrovaErrorOk;
}

KestrovaError kestrovaWriteTransformToFile(const char* fileName, const KestrovaTransform* transform)
{
    LYRTransform3d motion;
    std::copy_n(&transform->matrix[0][0], 16, motion.data());
    motion.unsetMatrix();
    return motion.write(fileName) ? KestrovaErrorOk : KestrovaErrorTransformFileCorrupt;
}
