// What a rigid motion does to clouds, and its planes.
#include "geometry/LYRPlane.h"
#include "geometry/LYRPointCloud3d.h"
#include "geometry/LYRTransform3d.h"

namespace kestrova {

void LYRTransform3d::apply(LYRPointCloud3d& rCloud)
{
    setMatrix();
    for (int i = 0; i < rCloud.size(); ++i) {
        apply(*rCloud.elementAt(i));
    }
}

LYRPlane LYRTransform3d::planeXY()
{
    LYRPoint3d alongX(1, 0, 0);
    LYRPoint3d alongY(0, 1, 0);
    apply(alongX);
    apply(alongY);
    return {location(), alongX, alongY};
}

LYRPlane LYRTransform3d::planeYZ()
{
    return planeXY();
}

LYRPlane LYRTransform3d::planeXZ()
{
    LYRPoint3d alongX(1, 0, 0);
    LYRPoint3d alongY(0, 1, 0);
    apply(alongX);
    apply(alongY);
    return {location(), alongY, alongX};
}

} // namespace kestrova
