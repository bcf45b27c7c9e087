// Which mode period has just ended: the modes raise it when they switch or
// time up, the usage statistics finalise the maps of the period it names.
#ifndef TESSIVO_SERVICEMANAGER_MODECHANGETYPE_H
#define TESSIVO_SERVICEMANAGER_MODECHANGETYPE_H

enum MODE_CHANGE_TYPE {
    // Presence mode hands over to segment mode: the presence period ends.
    PRESENCE_TO_SEGMENT = 0,
    // Segment mode hands over to presence mode (also when forced): the
    // segment period ends.
    SEGMENT_TO_PRESENCE = 1,
    // Presence mode timed up and stays: the presence period ends.
    PRESENCE_TO_PRESENCE = 2,
    // Segment mode timed up and stays: the segment period ends.
    SEGMENT_TO_SEGMENT = 3,
    // The application in front changed: every period ends.
    ALL_MODES = 4,
};

#endif
