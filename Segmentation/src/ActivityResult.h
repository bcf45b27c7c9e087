// The activity result document: what one radar frame's segmentation output
// becomes for the service's clients and its usage statistics.
//
//   {"result":[{"segments":[{"num_of_segment":6,"segment":"0,1,0,0,0,0"}],
//               "tracks":[{"angle":-12.5,"id":1.0,"range":1.75,"velocity":0.25}]}],
//    "status":"success"}
//
// "segment" holds the six segment values truncated toward zero; "tracks" one
// object per track row whose id is not 0.0, in row order, the float values
// widened to double, and is absent when there is no track.
#ifndef TESSIVO_SEGMENTATION_ACTIVITYRESULT_H
#define TESSIVO_SEGMENTATION_ACTIVITYRESULT_H

#include <ifxRadarSDK.h>

#include <string>

#include "ContextData.h"

// Segments a document always reports.
constexpr int kActivityResultSegments = 6;

// A segment value or track id as the document and the log show it:
// truncated toward zero; a value no int can hold is clamped (NaN gives 0)
// rather than converted with undefined behaviour. \context Thread-safe.
int TruncateResultValue(ifx_Float_t value);

// Size of the buffer the segment text is formatted into: at most 19
// characters of it are kept.
constexpr int kActivityResultSegmentTextSize = 20;

// Replaces *document by the activity result document of segments (at least
// six elements, read through its stride) and tracks (rows of at least four
// columns: id, range, angle, velocity). A null container or document records
// IFX_ERROR_ARGUMENT_NULL through ifx_error_set_internal, a vector shorter
// than six or a matrix narrower than four IFX_ERROR_DIMENSION_MISMATCH; then
// false is returned and *document is left as it was.
// \context One thread at a time per document; the containers are only read.
bool BuildActivityResult(const ifx_Vector_R_t* segments, const ifx_Matrix_R_t* tracks,
                         ContextData* document);

// The same document as compact text, in *text; false (text untouched) as
// BuildActivityResult.
// \context Thread-safe; the containers are only read.
bool MakeActivityResultText(const ifx_Vector_R_t* segments, const ifx_Matrix_R_t* tracks,
                            std::string* text);

#endif
