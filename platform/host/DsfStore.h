// The data service of the simulated TV, as stored in the "dsf" area of the
// platform store:
//   read/SUBJECT             string  the JSON answer to a read of SUBJECT
//   read/SUBJECT#ARGUMENT    string  the answer to a read of SUBJECT with
//                                    ARGUMENT (percent-encoded, '/' included);
//                                    a read with an argument falls back to the
//                                    plain answer
//   .journal                 the published events, one line each: subject,
//                            JSON text (ChangeJournal)
// The store takes any text; the tools check that what they store parses.
#ifndef TESSIVO_PLATFORM_HOST_DSFSTORE_H
#define TESSIVO_PLATFORM_HOST_DSFSTORE_H

#include <string>
#include <vector>

class DsfStore {
public:
    static constexpr const char* kArea = "dsf";

    // Subjects are store keys: printable, no spaces, no empty, "." or ".."
    // parts ("R/App/Current", "P/App/Change").
    // \context Thread-safe.
    static bool IsValidSubject(const char* subject);

    // Whether text is one JSON object and nothing else; *problem says why not.
    // \context Thread-safe.
    static bool IsJsonObject(const std::string& text, std::string* problem);

    // The store key of the answer to subject with argument (null or empty:
    // none).
    // \context Thread-safe.
    static std::string AnswerKey(const std::string& subject, const char* argument);

    // 0, -EINVAL (bad subject or too large), -errno.
    // \context Thread-safe.
    static int SetAnswer(const std::string& subject, const char* argument, const std::string& json);
    // 0, -ENOENT, -EINVAL.
    // \context Thread-safe.
    static int RemoveAnswer(const std::string& subject, const char* argument);
    // The answer for the argument, else the plain one. 0, -ENOENT (no
    // answer), -EINVAL (bad subject, or a stored value that is not a text),
    // -EIO.
    // \context Thread-safe.
    static int ReadAnswer(const std::string& subject, const char* argument, std::string* json);

    // A read as the data service answers it: DSF_OK with the JSON text, or
    // DSF_ERROR_NO_DATA / DSF_ERROR_INVALID_PARAMETER / DSF_ERROR_IO with "{}".
    // \context Thread-safe.
    static int Answer(const char* subject, const char* argument, std::string* json);

    // Appends an event to the journal: every process subscribed to subject
    // receives it. 0, -EINVAL, -errno.
    // \context Thread-safe.
    static int Publish(const std::string& subject, const std::string& json);
    // The event of a journal line; false for a line that is not one.
    // \context Thread-safe.
    static bool ParseEvent(const std::vector<std::string>& fields, std::string* subject,
                           std::string* json);

    // Starts the event journal afresh; subscribers go on with it.
    // \context Thread-safe.
    static int ResetJournal();
};

#endif
