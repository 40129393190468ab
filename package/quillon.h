#ifndef QUILLON_H
#define QUILLON_H
/*
 * quillon.h: the plain C entry of the Quillon engine, for a desktop shell.
 *
 * Conventions, once for every function below:
 * - All text passed in or out is UTF-8 and NUL-terminated.
 * - A string the library returns (through a char** out-parameter) belongs to the
 *   caller, who frees it with qn_free_string. On failure such out-parameters are NULL.
 * - Functions return an int status: QN_OK (0) or one of the QN_E_ codes below.
 * - `char** error` may be NULL. Otherwise it is set to NULL on success and, on failure,
 *   to a message the caller frees with qn_free_string.
 * - An action handle returned by qn_action_create or qn_action_load_* is a root: the
 *   caller owns it and frees it with qn_action_free, which frees the whole tree.
 *   Handles of the actions inside a tree (qn_action_child, qn_action_add_child, the
 *   sender of a callback) are borrowed: they stay valid, and keep the same value for
 *   the same action, until the root is freed. Never pass them to qn_action_free.
 * - A tree is used from one thread at a time; only qn_action_abort may be called from
 *   another thread while qn_action_execute runs.
 * - No C++ exception ever leaves the library: internal failures become QN_E_INTERNAL.
 * - Action kinds are named by their identifiers, for example "stiJob", "stiMailSrcMbox".
 */

#ifdef __cplusplus
extern "C" {
#endif

/* An action of a tree: a job, source, pass, target or simple action. Opaque. */
typedef struct qn_action qn_action;

enum {
  QN_OK = 0,
  QN_E_INVALID_ARGUMENT = 1,   /* a NULL pointer where a value is required */
  QN_E_UNKNOWN_KIND = 2,       /* the kind names no action of this build */
  QN_E_CHILD_NOT_ALLOWED = 3,  /* the kind may not stand under that parent */
  QN_E_INDEX = 4,              /* a child index out of range */
  QN_E_LOAD = 5,               /* the file or text is not an action that loads */
  QN_E_SAVE = 6,               /* the file cannot be written */
  QN_E_NOT_ROOT = 7,           /* the handle is borrowed where a root is required */
  QN_E_OUT_OF_MEMORY = 8,
  QN_E_INTERNAL = 9,           /* an engine failure, e.g. an assertion; see the message */
  QN_E_NOT_JOB = 10,           /* the action is not a job where a job is required */
  QN_E_OPTIONS = 11            /* global options that do not load; see the message */
};

/* The library's version, "major.minor.patch". Static: do not free. */
const char* qn_version(void);

/* Frees a string returned by the library. NULL is allowed. */
void qn_free_string(char* text);

/* ---- trees */

/* A new root of the given kind with default settings. QN_E_UNKNOWN_KIND when the kind
   is unknown or has no action class. */
int qn_action_create(const char* kind, qn_action** out, char** error);

/* Appends a child of the given kind to `parent`; *child receives its borrowed handle.
   With check_rules nonzero, QN_E_CHILD_NOT_ALLOWED refuses a child that may not stand
   under the parent's kind (a target directly under a filter, say). */
int qn_action_add_child(qn_action* parent, const char* kind, int check_rules,
                        qn_action** child, char** error);

int qn_action_child_count(qn_action* action, int* count, char** error);

/* The borrowed handle of child `index` (0-based). QN_E_INDEX when out of range. */
int qn_action_child(qn_action* parent, int index, qn_action** child, char** error);

/* The kind identifier of the action, for example "stiMailPasFilter". */
int qn_action_kind(qn_action* action, char** kind, char** error);

/* Frees a root and its whole tree; every handle of the tree becomes invalid. NULL and
   borrowed handles are ignored. Must not run while the tree executes. */
void qn_action_free(qn_action* action);

/* ---- loading and saving; the root's kind comes from what is stored */

/* An action file (base64 text) or the JSON form, whatever the extension. */
int qn_action_load_file(const char* file_name, qn_action** out, char** error);

/* The base64 text of an action file, or the JSON form. */
int qn_action_load_string(const char* text, qn_action** out, char** error);

/* Saves the action and its subtree: the JSON form when the name ends in ".json", a job
   file (the action file followed by the job information) when it ends in ".qjob", the
   action file otherwise. QN_E_SAVE when the file cannot be written, or for ".qjob" when
   the action is not a job. */
int qn_action_save_file(qn_action* action, const char* file_name, char** error);

/* The action and its subtree as the action file's base64 text, or with as_json nonzero
   as the JSON form. Either loads back through qn_action_load_string. */
int qn_action_save_string(qn_action* action, int as_json, char** out, char** error);

/* ---- running */

/* Runs the action and its subtree on the calling thread; returns when the run ends.
   Problems met by the actions go to their logs (see qn_action_error_count), not to the
   status. Once aborted, a tree stays aborted: load or create it anew to run again.
   A job is started as a job: its run report is saved in the logs folder (see
   qn_job_report_file), where the newest 15 reports of each job are kept. */
int qn_action_execute(qn_action* action, char** error);

/* The run report of the job's last start; "" before a start or when the report could
   not be written. QN_E_NOT_JOB when the action is not a job. */
int qn_job_report_file(qn_action* action, char** file_name, char** error);

/* The job information stored at the end of a job file, read without loading the tree:
   the job id, caption, description, the schedule as a sentence ("Daily at 08:00") and
   whether the schedule is enabled (0 or 1). Out-parameters may be NULL when not wanted.
   QN_E_LOAD when the file cannot be read or carries no job information (an action
   file, a job file of the older form, a file cut short); the message says which. */
int qn_job_file_info(const char* file_name, char** job_id, char** caption, char** description,
                     char** schedule, int* schedule_enabled, char** error);

/* Asks the action and its subtree to stop. Thread-safe; returns at once. The run stops
   at the next point where an action checks for it. */
int qn_action_abort(qn_action* action, char** error);

/* The number of errors in the logs of the action and its subtree after a run. */
int qn_action_error_count(qn_action* action, int* count, char** error);

/* ---- global options
 * The library keeps one set of global options (TKwGlobalOptions: detailed log, e-mail
 * cache, local storage, proxy, OAuth token lines, ...) and hands it to every tree it
 * executes. Set them while no tree executes. */

/* Sets the global options from their JSON form: an object with the dotted property
   names ("DetailedLog": true, "Proxy.Server": "...", "OauthList": ["key=access:refresh~0"]),
   the form of the CLI's options.json. Options the object does not name return to their
   defaults. QN_E_OPTIONS for malformed JSON, an
   unknown name or a value that does not fit, with every problem in the message; the
   options are then unchanged. */
int qn_set_global_options(const char* json, char** error);

/* The global options as that JSON form (options at their defaults left out). */
int qn_get_global_options(char** json, char** error);

/* ---- events
 * A callback is registered for the whole tree the handle belongs to (pass the root),
 * replacing any earlier one of the same event; NULL removes it. Register while the tree
 * is not executing. Callbacks run on the thread that raises the event (the executing
 * thread; qn_action_abort's thread for the abort event). `sender` is the borrowed
 * handle of the action that raised the event; the strings live only for the call.
 * Each function returns QN_OK, or QN_E_INVALID_ARGUMENT for a NULL action. */

typedef void (*qn_status_callback)(void* user, qn_action* sender, const char* text1,
                                   const char* text2);
/* `status` is the running status identifier, for example "rsProcessing". */
typedef void (*qn_progress_callback)(void* user, qn_action* sender, int position,
                                     const char* text1, const char* text2, const char* status);
/* Raised by a parent before each enabled child runs: the child's caption and the kind
   identifier of the parent. */
typedef void (*qn_action_callback)(void* user, qn_action* sender, const char* caption,
                                   const char* kind);
typedef void (*qn_folder_callback)(void* user, qn_action* sender, const char* folder_name,
                                   int index);
typedef void (*qn_notify_callback)(void* user, qn_action* sender);

int qn_set_status_callback(qn_action* action, qn_status_callback cb, void* user);
int qn_set_progress_callback(qn_action* action, qn_progress_callback cb, void* user);
int qn_set_action_callback(qn_action* action, qn_action_callback cb, void* user);
int qn_set_folder_callback(qn_action* action, qn_folder_callback cb, void* user);
int qn_set_complete_callback(qn_action* action, qn_notify_callback cb, void* user);
int qn_set_abort_callback(qn_action* action, qn_notify_callback cb, void* user);

#ifdef __cplusplus
}
#endif

#endif /* QUILLON_H */
