// The parameter lines of an image comment: which there are, and by which key each is found again.
#pragma once

#include <cstdint>

namespace kestrova {

/** One parameter line. Indexes the table of keys. */
enum KestrovaCommentType : std::int32_t
{
    CommentRectificationQuality,
    CommentEdgeCorrelation,
    CommentEdgeMask,
    CommentSmoothing,
    CommentStereoQuality,
    CommentCameraConfiguration,
    CommentStereoMask,
    CommentMinDisparity,
    CommentMaxDisparity,
    CommentDisparityOffset,
    CommentDisparityMapping,
    CommentMinDisparityMapping,
    CommentMaxDisparityMapping,
    CommentTextureValidation,
    CommentTextureValidationThreshold,
    CommentTextureValidationMapping,
    CommentUniquenessValidation,
    CommentUniquenessValidationThreshold,
    CommentUniquenessValidationMapping,
    CommentBackForthValidation,
    CommentBackForthValidationMapping,
    CommentSurfaceValidation,
    CommentSurfaceValidationDiff,
    CommentSurfaceValidationSize,
    CommentSurfaceValidationMapping,
};
inline constexpr int sk_nCommentItems = 25;

/** The word of the first line of a comment of ours. */
inline constexpr char sk_szCommentMarker[] = "LYRComment";

/** The key of an item that exists. */
[[nodiscard]] const char* commentKey(KestrovaCommentType eItem);

/** The item from nFirst to nLast, both included, whose key is exactly this one; -1 if there is none. */
[[nodiscard]] int getCommentIndex(const char* pszKey, int nFirst, int nLast);

} // namespace kestrova
