/*
 * Configuration keys, with the API shape of the platform's vconf library
 * (only the part the service uses). Keys are names such as
 * "db/sysman/rotation_state"; each holds a typed value, and a read of the
 * wrong type fails. Change notifications are delivered on the GLib main
 * context of the process that registered them (the default context), for
 * changes made by any process, including the registering one.
 */
#ifndef TESSIVO_PLATFORM_VCONF_H
#define TESSIVO_PLATFORM_VCONF_H

#ifdef __cplusplus
extern "C" {
#endif

#define VCONF_OK 0
#define VCONF_ERROR -1

typedef enum {
    VCONF_TYPE_NONE = 0,
    VCONF_TYPE_STRING = 40,
    VCONF_TYPE_INT = 41,
    VCONF_TYPE_DOUBLE = 42,
    VCONF_TYPE_BOOL = 43,
} vconf_t;

/* One changed key as a notification sees it: its name, type and new value.
 * It belongs to the library and lives until the callback returns. */
typedef struct _keynode_t keynode_t;

typedef void (*vconf_callback_fn)(keynode_t* node, void* user_data);

/* VCONF_OK with *intval set, or VCONF_ERROR (no such key, wrong type, bad
 * arguments). */
int vconf_get_int(const char* in_key, int* intval);
/* A malloc'ed copy of a string key the caller frees, or NULL. */
char* vconf_get_str(const char* in_key);
/* VCONF_OK or VCONF_ERROR. Setting a key notifies its watchers even when the
 * value does not change. */
int vconf_set_int(const char* in_key, const int intval);
int vconf_set_str(const char* in_key, const char* strval);

/* Registers cb for changes of in_key; the key need not exist yet. A second
 * registration of the same key and callback only replaces the user data.
 * VCONF_OK or VCONF_ERROR. */
int vconf_notify_key_changed(const char* in_key, vconf_callback_fn cb, void* user_data);
/* Removes the registration of in_key and cb. VCONF_OK, or VCONF_ERROR when
 * there is none. */
int vconf_ignore_key_changed(const char* in_key, vconf_callback_fn cb);

char* vconf_keynode_get_name(keynode_t* keynode);
int vconf_keynode_get_type(keynode_t* keynode);
/* The value of an int key node; 0 for a node of another type or NULL. */
int vconf_keynode_get_int(const keynode_t* keynode);
/* The value of a string key node, owned by the node; NULL for a node of
 * another type or NULL. */
char* vconf_keynode_get_str(const keynode_t* keynode);

#ifdef __cplusplus
}
#endif

#endif
