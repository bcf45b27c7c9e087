/*
 * The TV's data service, with the API shape of the platform's data-service
 * library (only the part the service uses). Subjects are texts: "R/..."
 * subjects are read, "P/..." subjects are published as events. Answers and
 * events are JSON texts.
 *
 * Callbacks run on the GLib main context of the process (the default
 * context), one at a time. The data text passed to a callback belongs to the
 * library and is valid until the callback returns.
 */
#ifndef TESSIVO_PLATFORM_DSF_H
#define TESSIVO_PLATFORM_DSF_H

#ifdef __cplusplus
extern "C" {
#endif

#define DSF_OK 0
#define DSF_ERROR_INVALID_PARAMETER -22
#define DSF_ERROR_NO_DATA -61
#define DSF_ERROR_IO -5
#define DSF_ERROR_NOT_SUBSCRIBED -2

/* result is DSF_OK or a DSF_ERROR_* code (data is then "{}"). */
typedef void (*DSF_Callback)(int result, const char* subject, char* data, void* user);

/* Delivers every later event published on subject, from any process, to
 * callback. One subscription per subject and process: subscribing again
 * replaces the callback. DSF_OK or DSF_ERROR_INVALID_PARAMETER. */
int DSF_Subscribe(const char* subject, DSF_Callback callback, void* user);
/* DSF_OK, or DSF_ERROR_NOT_SUBSCRIBED / DSF_ERROR_INVALID_PARAMETER. */
int DSF_UnSubscribe(const char* subject);

/* Reads subject (with an optional argument, may be NULL) and answers later
 * through callback on the main context. DSF_OK when the read was queued or
 * DSF_ERROR_INVALID_PARAMETER. A subject without data is answered with
 * DSF_ERROR_NO_DATA. */
int DSF_Read_Async(const char* subject, const char* argument, DSF_Callback callback, void* user);
/* Reads subject now: DSF_OK with *out a malloc'ed JSON text the caller
 * frees, or an error with *out NULL. \context Any thread. */
int DSF_Read_Sync(const char* subject, const char* argument, char** out);

#ifdef __cplusplus
}
#endif

#endif
