// The words for enumerated values, shared by all that writes or parses them. Rows are indexed by value.
#pragma once

namespace kestrova {

extern const char* const kesProductStr[4];
extern const char* const kesRectQltyStr[4];
extern const char* const kesStereoQltyStr[2];
extern const char* const kesCameraStr[5];
extern const char* const kesCamConfigStr[3]; // no row for the wide pair: it is stored as the horizontal one
extern const char* const kesImageTypeStr[5];
extern const char* const kesImage16TypeStr[1];

} // namespace kestrova
