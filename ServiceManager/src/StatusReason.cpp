#include "StatusReason.h"

#include "StateManager.h"

namespace {

void Set(StatusSnapshot* snapshot, const char* reason, const std::string& text) {
    snapshot->reason = reason;
    snapshot->reasonText = text;
}

// Presence mode: the first condition that holds it, as the mode loop checks
// them; a claim overrides every other.
void DescribePresence(const ModeConditions& c, StatusSnapshot* snapshot) {
    if (c.claimed) {
        Set(snapshot, "claimed",
            "Another program has claimed the radar; presence mode holds until it gives it back.");
    } else if (!c.countryListed) {
        Set(snapshot, "country",
            c.country.empty() ? std::string("The country is unknown; segment mode runs only in "
                                            "the countries where statistics are collected.")
                              : "Segment mode does not run in country \"" + c.country + "\".");
    } else if (c.boot) {
        Set(snapshot, "boot",
            "The first " + std::to_string(StateManager::kBootPeriodSec) +
                " s after start are spent in presence mode.");
    } else if (c.kivApp || c.netflix) {
        Set(snapshot, "app",
            std::string(c.netflix ? "Netflix" : "The KIV app") +
                " is in front, which keeps presence mode.");
    } else if (!c.agreed) {
        Set(snapshot, "agreement",
            "The user has not agreed to presence statistics, which segment mode needs.");
    } else if (c.presenceFailed) {
        Set(snapshot, "presence-failed",
            "Presence reading was given up after four minutes of failed reads, until the "
            "service restarts.");
    } else if (!c.landscape) {
        Set(snapshot, "portrait", "The screen is in portrait, which keeps presence mode.");
    } else {
        Set(snapshot, "timer",
            "Nothing holds presence mode: segment mode follows when its period ends or a client "
            "subscribes to tracks.");
    }
}

}  // namespace

namespace StatusReason {

void Describe(SHAPE_TYPE shape, const ModeConditions& conditions, StatusSnapshot* snapshot) {
    snapshot->shape = shape == SHAPE_FULL ? "full" : "dbus-only";
    switch (shape) {
        case SHAPE_NOT_TAVLO_TV:
            snapshot->mode = "none";
            Set(snapshot, "not-tavlo-tv",
                "Not a Tavlo TV (or its product line could not be read): the service answers on "
                "D-Bus but does not sense.");
            return;
        case SHAPE_OLDER_MODULE:
            snapshot->mode = "none";
            Set(snapshot, "older-module",
                "The radar module is of the older generation: the service answers on D-Bus but "
                "does not sense.");
            return;
        case SHAPE_FULL:
            break;
    }
    if (!conditions.segment) {
        snapshot->mode = "presence";
        DescribePresence(conditions, snapshot);
    } else if (conditions.subscribed) {
        snapshot->mode = "segment";
        Set(snapshot, "subscription", "A client subscribes to tracks, which holds segment mode.");
    } else {
        snapshot->mode = "segment";
        Set(snapshot, "timer", "Segment mode runs until its period ends; no client holds it.");
    }
}

}  // namespace StatusReason
