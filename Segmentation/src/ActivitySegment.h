// The segmentation pipeline as the radar side sees it: RadarFetch hands it
// every frame that two slices complete.
#ifndef TESSIVO_SEGMENTATION_ACTIVITYSEGMENT_H
#define TESSIVO_SEGMENTATION_ACTIVITYSEGMENT_H

class ActivitySegment {
public:
    // Runs one pipeline step on a raw frame of 16384 samples.
    // \context Sensor library's callback thread.
    //
    // Declared weak: a program built without the pipeline (the D-Bus-only
    // service, the radar bring-up tools) links RadarFetch all the same and
    // drops assembled frames, exactly as when no segmentation object is set.
    static void FetchRadarFrameCB(unsigned short* raw) __attribute__((weak));
};

#endif
