// A list of points in space with a centre of mass, a search index and text files.
//
// The cloud holds pointers. With ownership on, which is how it starts, it deletes the points that it drops; they must
// then come from new and be LYRPoint3d or one of the types below. The point type tells what save() finds behind the
// coordinates: it is the caller's word and is not checked.
#pragma once

#include "geometry/LYRList.h"
#include "geometry/LYRPoint3d.h"

#include <memory>

namespace kestrova {

class LYRBSP;

enum enum_POINTTYPES : int
{
    POINTTYPE_PLAIN = 0,        // LYRPoint3d
    POINTTYPE_EXTRA = 1,        // a record of eight doubles or more, the extras being the seventh and eighth
    POINTTYPE_COLOUR = 2,       // LYRColourPoint3d
    POINTTYPE_COLOUR_EXTRA = 3, // LYRExtraPoint3d
};

/** A coloured point and two numbers of the caller's: eight doubles in a row. */
class LYRExtraPoint3d : public LYRColourPoint3d
{
public:
    using LYRColourPoint3d::LYRColourPoint3d;

    double m_adExtra[2] = {0, 0};
};

class LYRPointCloud3d : private LYRList
{
public:
    explicit LYRPointCloud3d(int nCapacity = sk_nDefaultCapacity, int nGrowBy = sk_nDefaultGrowBy);
    LYRPointCloud3d(const LYRPointCloud3d&) = delete; // two owners of one set of points
    LYRPointCloud3d& operator=(const LYRPointCloud3d&) = delete;
    ~LYRPointCloud3d() override;

    using LYRList::size;
    using LYRList::trim;
    /** Null when out of range. */
    [[nodiscard]] LYRPoint3d* elementAt(int nIndex) const
    {
        return static_cast<LYRPoint3d*>(LYRList::elementAt(nIndex));
    }
    /** First index that holds this very object, else -1. */
    [[nodiscard]] int indexOf(const LYRPoint3d* pPoint) const { return LYRList::indexOf(pPoint); }

    [[nodiscard]] enum_POINTTYPES pointType() const { return m_ePointType; }
    void setPointType(enum_POINTTYPES ePointType) { m_ePointType = ePointType; }
    void setOwnership(bool bOwnership) { m_bOwnership = bOwnership; }

    /** Appends, updates the centre and drops the search index; returns the new index, or -1 for null. */
    int insertPoint(LYRPoint3d* pPoint);
    /** False when out of range. Drops the search index; the centre stays. */
    bool deleteElementAt(int nIndex);
    /** Drops all points and the search index; the centre stays. */
    void empty();

    /**
     * Makes findNearestIndex fast, until a point is inserted or deleted. After moving points by any other means call it
     * anew: an index of moved points gives wrong answers.
     */
    void indexPoints();
    /** Recomputes the mean of all points, into the cloud and rCenter; NaN when there are none. */
    void getCenterOfMass(LYRPoint3d& rCenter);
    /** Moves all points so that the centre, as it was last computed, becomes the origin. */
    void center();
    /** As center(), with the centre recomputed. */
    void recenter();
    /** Multiplies all coordinates. Centre and search index are not touched. */
    void scale(double dFactor);
    /** Scales the largest absolute coordinate to 1; points that are all 0 become NaN. */
    void normalize();

    /**
     * The point nearest to p, -1 for none. With a search index see LYRBSP. Without one the lowest index wins a tie, and
     * points at a squared distance of 99999999.99 or more are not found.
     */
    [[nodiscard]] int findNearestIndex(const LYRPoint3d& p) const;

    /** Writes one line a point as the point type tells; false when the file cannot be opened or not written whole. */
    [[nodiscard]] bool save(const char* pszPath) const;
    /** Writes VRML 1.0, every point a green cube; false as save(). */
    [[nodiscard]] bool saveVRML(const char* pszPath) const;
    /**
     * Replaces the points by those of a file, one a line: 3 numbers are x y z, 4 add grey, 6 add red, green and blue,
     * all of 0 to 255, and 8 add two more. Of 5 or 7 the last is ignored; other lines are skipped. The point type
     * becomes that of the last line used. False when the file cannot be opened, or is a device or a folder.
     *
     * Not the mirror of save(): plain points come back grey, and of extra points the seventh double as a grey level.
     */
    [[nodiscard]] bool load(const char* pszPath);

private:
    LYRPoint3d meanOfPoints() const;

    LYRPoint3d m_centerOfMass;
    std::unique_ptr<LYRBSP> m_pBSP; // null when there is no index
    bool m_bOwnership = true;
    enum_POINTTYPES m_ePointType = POINTTYPE_PLAIN;
};

/** Frees a point from new whatever its type: points have no virtual destructor, and none of them needs one. */
struct PointDeleter
{
    void operator()(LYRPoint3d* pPoint) const;
};

} // namespace kestrova
