#include "ActivityResult.h"

#include <limits.h>
#include <math.h>
#include <stdio.h>

#include <utility>

namespace {

const char kStatusKey[] = "status";
const char kStatusSuccess[] = "success";
const char kResultKey[] = "result";
const char kSegmentsKey[] = "segments";
const char kNumOfSegmentKey[] = "num_of_segment";
const char kSegmentKey[] = "segment";
const char kTracksKey[] = "tracks";
const char kIdKey[] = "id";
const char kRangeKey[] = "range";
const char kAngleKey[] = "angle";
const char kVelocityKey[] = "velocity";

const uint32_t kTrackColumns = 4;

// IFX_OK, or the error that keeps the containers from making a document.
ifx_Error_t CheckInputs(const ifx_Vector_R_t* segments, const ifx_Matrix_R_t* tracks) {
    if (segments == nullptr || tracks == nullptr || vDat(segments) == nullptr ||
        mDat(tracks) == nullptr) {
        return IFX_ERROR_ARGUMENT_NULL;
    }
    if (vLen(segments) < static_cast<uint32_t>(kActivityResultSegments) ||
        mCols(tracks) < kTrackColumns) {
        return IFX_ERROR_DIMENSION_MISMATCH;
    }
    return IFX_OK;
}

}  // namespace

int TruncateResultValue(ifx_Float_t value) {
    if (isnan(value)) {
        return 0;
    }
    if (value >= static_cast<ifx_Float_t>(INT_MAX)) {
        return INT_MAX;
    }
    if (value <= static_cast<ifx_Float_t>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

bool BuildActivityResult(const ifx_Vector_R_t* segments, const ifx_Matrix_R_t* tracks,
                         ContextData* document) {
    const ifx_Error_t invalid =
        document == nullptr ? IFX_ERROR_ARGUMENT_NULL : CheckInputs(segments, tracks);
    if (invalid != IFX_OK) {
        ifx_error_set_internal(invalid, __FILE__, __func__, __LINE__);
        return false;
    }

    ContextData root;
    root.SetValue(kStatusKey, kStatusSuccess);

    char text[kActivityResultSegmentTextSize];
    snprintf(text, sizeof(text), "%d,%d,%d,%d,%d,%d", TruncateResultValue(vAt(segments, 0)),
             TruncateResultValue(vAt(segments, 1)), TruncateResultValue(vAt(segments, 2)),
             TruncateResultValue(vAt(segments, 3)), TruncateResultValue(vAt(segments, 4)),
             TruncateResultValue(vAt(segments, 5)));
    ContextData segment;
    segment.SetValue(kNumOfSegmentKey, kActivityResultSegments);
    segment.SetValue(kSegmentKey, text);

    ContextData result;
    result.SetValue(kSegmentsKey, segment);
    for (uint32_t row = 0; row < mRows(tracks); ++row) {
        const ifx_Float_t id = mAt(tracks, row, 0);
        if (id == 0.0f) {
            continue;
        }
        // A value that is not a number cannot be written as JSON (it would
        // come out as null or 1e+9999, which no client, this service's own
        // parser included, reads back): such a row is no track.
        bool finite = true;
        for (uint32_t column = 0; column < 4; ++column) {
            finite = finite && isfinite(mAt(tracks, row, column));
        }
        if (!finite) {
            continue;
        }
        ContextData track;
        track.SetValue(kIdKey, static_cast<double>(id));
        track.SetValue(kRangeKey, static_cast<double>(mAt(tracks, row, 1)));
        track.SetValue(kAngleKey, static_cast<double>(mAt(tracks, row, 2)));
        track.SetValue(kVelocityKey, static_cast<double>(mAt(tracks, row, 3)));
        result.SetValue(kTracksKey, track);
    }
    root.SetValue(kResultKey, result);

    *document = std::move(root);
    return true;
}

bool MakeActivityResultText(const ifx_Vector_R_t* segments, const ifx_Matrix_R_t* tracks,
                            std::string* text) {
    if (text == nullptr) {
        ifx_error_set_internal(IFX_ERROR_ARGUMENT_NULL, __FILE__, __func__, __LINE__);
        return false;
    }
    ContextData document;
    if (!BuildActivityResult(segments, tracks, &document)) {
        return false;
    }
    *text = document.MakeStr();
    return true;
}
