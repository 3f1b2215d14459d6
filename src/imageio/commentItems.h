// The parameter lines of an image comment: one table of what each is called, when it is written, and how its value goes
// into the text and back into a record.
#pragma once

#include "kestrova.h"

#include <cstdint>
#include <string>

namespace kestrova {

struct PreprocessSnapshot;
struct StereoSnapshot;

/** A parameter line, by its place in the table; those that are asked for by name. */
enum KestrovaCommentType : std::int32_t
{
    CommentRectificationQuality = 0,
    CommentEdgeCorrelation = 1,
    CommentEdgeMask = 2,
    CommentSmoothing = 3,
    CommentDisparityOffset = 9,
    CommentTextureValidation = 13,
};
inline constexpr int sk_nCommentItems = 25;

/** The word of the first line of a comment of ours. */
inline constexpr char sk_szCommentMarker[] = "LYRComment";

/** The settings under which an image was made. */
struct SavedSettings
{
    const PreprocessSnapshot& m_rPrepared;
    const StereoSnapshot& m_rCorrelated;
};

struct CommentItem
{
    const char* m_pszKey;
    /** Whether the item says anything under the saved settings; null for one that always does. */
    bool (*m_pfnApplies)(const SavedSettings&);
    std::string (*m_pfnValue)(const SavedSettings&);
    /** Into the field of the item; false for a word that is not one of its set. */
    bool (*m_pfnRead)(const char* pszValue, DisparityImageInfo&);
};

/** An item that exists. */
[[nodiscard]] const CommentItem& commentItem(int nItem);

/** The item from nFirst to nLast, both included, whose key is exactly this one; -1 if there is none. */
[[nodiscard]] int getCommentIndex(const char* pszKey, int nFirst, int nLast);

} // namespace kestrova
