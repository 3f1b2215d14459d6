// Text files of point clouds: one line a point, and VRML for looking at them.
//
// Whatever a file holds is read or skipped. A loaded point has room for all eight numbers even if its line had only
// three: lines may be mixed, and the cloud's type, which tells save() how far to read, is that of the last one.
#include "geometry/LYRPointCloud3d.h"

#include "files/FilePtr.h"
#include "files/OutputFile.h"
#include "files/cText.h"
#include "numerics/truncateToInt.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace kestrova {

static_assert(sizeof(LYRColourPoint3d) == 6 * sizeof(double) && sizeof(LYRExtraPoint3d) == 8 * sizeof(double));

namespace {

constexpr int sk_nLine = 512; // bytes of a line with its terminator; the rest of a longer one is read as a further line
constexpr double sk_dWhite = 255.0;

struct LoadedPoint
{
    std::unique_ptr<LYRPoint3d, PointDeleter> m_pPoint; // null for a line that is no point
    enum_POINTTYPES m_eType;
};

LoadedPoint pointOfLine(const char* pszLine)
{
    std::array<double, 8> v{};
    const int nFound =
        std::sscanf(pszLine, "%lf %lf %lf %lf %lf %lf %lf %lf", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
    if (nFound < 3) {
        return {nullptr, POINTTYPE_PLAIN};
    }
    auto pPoint = std::make_unique<LYRExtraPoint3d>();
    pPoint->setXYZ(v[0], v[1], v[2]);
    enum_POINTTYPES eType = POINTTYPE_PLAIN;
    if (nFound >= 6) {
        pPoint->setRGB(v[3] / sk_dWhite, v[4] / sk_dWhite, v[5] / sk_dWhite);
        eType = POINTTYPE_COLOUR;
    } else if (nFound >= 4) {
        pPoint->setRGB(v[3] / sk_dWhite, v[3] / sk_dWhite, v[3] / sk_dWhite);
        eType = POINTTYPE_COLOUR;
    }
    if (nFound == 8) {
        pPoint->m_adExtra[0] = v[6];
        pPoint->m_adExtra[1] = v[7];
        eType = POINTTYPE_COLOUR_EXTRA;
    }
    return {std::unique_ptr<LYRPoint3d, PointDeleter>(pPoint.release()), eType};
}

void writeColour(std::FILE* pFile, const LYRPoint3d& rPoint)
{
    const auto& rColour = static_cast<const LYRColourPoint3d&>(rPoint);
    std::fprintf(pFile, " %d %d %d", truncateToInt(rColour.red() * sk_dWhite),
                 truncateToInt(rColour.green() * sk_dWhite), truncateToInt(rColour.blue() * sk_dWhite));
}

/** The seventh and eighth double of a record that need not be a type of ours. */
void writeExtras(std::FILE* pFile, const LYRPoint3d& rPoint)
{
    double adExtra[2];
    std::memcpy(adExtra, reinterpret_cast<const char*>(&rPoint) + sizeof(LYRColourPoint3d), sizeof adExtra);
    std::fprintf(pFile, " %lf %lf", adExtra[0], adExtra[1]);
}

void writePoint(std::FILE* pFile, const LYRPoint3d& rPoint, enum_POINTTYPES eType)
{
    const bool bColour = eType == POINTTYPE_COLOUR || eType == POINTTYPE_COLOUR_EXTRA;
    const bool bExtras = eType == POINTTYPE_EXTRA || eType == POINTTYPE_COLOUR_EXTRA;
    std::fprintf(pFile, "%lf %lf %lf", rPoint.x(), rPoint.y(), rPoint.z());
    if (bColour) {
        writeColour(pFile, rPoint);
    }
    if (bExtras) {
        writeExtras(pFile, rPoint);
    }
    std::fputs(bColour || bExtras ? "\n" : " 255\n", pFile);
}

} // namespace

bool LYRPointCloud3d::save(const char* pszPath) const
{
    OutputFile file(pszPath);
    if (file.stream() == nullptr) {
        return false;
    }
    const CLocaleScope scope;
    for (int i = 0; i < size(); ++i) {
        writePoint(file.stream(), *elementAt(i), m_ePointType);
    }
    return file.finish();
}

bool LYRPointCloud3d::saveVRML(const char* pszPath) const
{
    OutputFile file(pszPath, OutputFile::ReadAndWrite);
    if (file.stream() == nullptr) {
        return false;
    }
    const CLocaleScope scope;
    std::fputs("#VRML V1.0 ascii\nMaterial {diffuseColor 0 1 0 }\n", file.stream());
    for (int i = 0; i < size(); ++i) {
        const LYRPoint3d& rPoint = *elementAt(i);
        std::fprintf(file.stream(),
                     "Separator {\n   Translation { translation %f %f %f }\n"
                     "   Cube { width 0.005 height 0.005 depth 0.005 }\n}\n",
                     rPoint.x(), rPoint.y(), rPoint.z());
    }
    return file.finish();
}

bool LYRPointCloud3d::load(const char* pszPath)
{
    empty();
    const FilePtr pFile(std::fopen(pszPath, "r"));
    if (pFile == nullptr || !isPlainFileOrPipe(pFile.get())) {
        return false;
    }
    const CLocaleScope scope;
    char szLine[sk_nLine];
    while (std::fgets(szLine, sk_nLine, pFile.get()) != nullptr) {
        LoadedPoint loaded = pointOfLine(szLine);
        if (loaded.m_pPoint != nullptr) {
            m_ePointType = loaded.m_eType;
            insertPoint(loaded.m_pPoint.get());
            static_cast<void>(loaded.m_pPoint.release()); // the list's from here on
        }
    }
    trim();
    return true;
}

} // namespace kestrova
