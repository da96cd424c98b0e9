// SPDX-License-Identifier: Apache-2.0
/* Profiling logs as Arrow record batches, for whatever can call C: link libryx_profile.so.1, and
 * nothing else is needed.
 *
 *     const char* paths[] = {"monday.log", "tuesday.log"};
 *     ryx_profile* profile;
 *     struct ArrowArrayStream events;
 *     if (ryx_profile_open(paths, 2, &profile) != 0 ||
 *         ryx_profile_stream(profile, "events", NULL, &events) != 0)
 *       fprintf(stderr, "%s\n", ryx_profile_last_error());
 *
 * The stream is that of Arrow's C stream interface, which data frames and query engines import as
 * it is. Its columns are those of <ryx/profile_tables.h>, with their names, order, meaning and
 * units, and `log`, the path as it was given, in place of the log's number. Types: int64, uint64,
 * double, utf8, and for `method` dictionary<int32, utf8>, whose dictionary is the same in every
 * batch.
 *
 * A stream reads the logs itself, one after the other, from files that it opens when it comes to
 * them, and holds one chunk at a time. It shares nothing with the handle that made it or with other
 * streams, and its batches share nothing with it: each may be released in any order, on any thread.
 * A stream is used by one thread at a time. No operation throws, keeps a thread, or touches a
 * signal.
 *
 * Operations return 0, or an errno value: EINVAL for an argument that makes no sense, ENOMEM, EIO
 * for a log that is damaged, no log, or cannot be read, and the system's own when a log cannot be
 * opened. The text for people names the file and what is wrong with it, and for damage the chunk
 * (from 1) and the byte at which it begins. */

#ifndef RYX_PROFILE_ARROW_H
#define RYX_PROFILE_ARROW_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* --- Arrow's C data and C stream interfaces, as published ------------------------------------- */

#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema** children;
  struct ArrowSchema* dictionary;
  void (*release)(struct ArrowSchema*);
  void* private_data;
};

struct ArrowArray {
  int64_t length;
  int64_t null_count;
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  const void** buffers;
  struct ArrowArray** children;
  struct ArrowArray* dictionary;
  void (*release)(struct ArrowArray*);
  void* private_data;
};

#endif

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
  int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
  const char* (*get_last_error)(struct ArrowArrayStream*);
  void (*release)(struct ArrowArrayStream*);
  void* private_data;
};

#endif

/* --- Logs ------------------------------------------------------------------------------------- */

#if defined(__GNUC__)
#define RYX_PROFILE_API __attribute__((visibility("default")))
#else
#define RYX_PROFILE_API
#endif

/* Some logs that are read as one table. */
typedef struct ryx_profile ryx_profile;

/* What a stream is to deliver. Set `size` to sizeof(ryx_profile_selection) and all else to 0, then
 * what is wanted: a later version may append fields, and a 0 in them will be what is so today. */
typedef struct ryx_profile_selection {
  size_t size;

  /* The columns, in this order; NULL is all of them. */
  const char* const* columns;
  size_t column_count;

  /* Only messages whose graph is any of these, with their executions and events; NULL is all. */
  const char* const* graphs;
  size_t graph_count;

  /* Likewise methods: "Execute", "NetRun", ..., in any case, or a number. */
  const char* const* methods;
  size_t method_count;

  /* With RYX_PROFILE_LEVEL in `flags`: only messages that a reader of this level shows, those below
   * it, -128 to 127. */
  int32_t level;

  uint32_t flags;

  /* At most so many rows in a batch; 0 is 65536. A batch is also delivered before its texts would
   * take more than 16 MB. */
  size_t batch_rows;
} ryx_profile_selection;

#define RYX_PROFILE_LEVEL 1u

/* A damaged log is read up to its damage, and one that cannot be read has no rows, instead of an
 * error; the columns `damage` of the table "logs" say so. */
#define RYX_PROFILE_SKIP_DAMAGED 2u

/* Opens logs. The paths are copied. Fails for a path that cannot be opened for reading, and sets
 * `*profile` to NULL then. Nothing is read yet, and no file stays open. */
RYX_PROFILE_API int ryx_profile_open(const char* const* paths, size_t count, ryx_profile** profile);

/* Makes a stream of a table: "logs", "messages", "executions" or "events". `selection` may be NULL,
 * for all. The stream is the caller's, to be released; it may outlive `profile`. On failure
 * `stream` is not touched. May be called by several threads at once. */
RYX_PROFILE_API int ryx_profile_stream(const ryx_profile* profile, const char* table,
                                       const ryx_profile_selection* selection,
                                       struct ArrowArrayStream* stream);

/* Why the last call of one of the two operations above failed on this thread, until the next one;
 * "" when it succeeded. UTF-8; paths that are not are shown as \xNN. What fails later is said by
 * the stream's get_last_error. */
RYX_PROFILE_API const char* ryx_profile_last_error(void);

/* Frees the handle; NULL is fine. Streams made by it go on. */
RYX_PROFILE_API void ryx_profile_close(ryx_profile* profile);

/* The version of the columns, as kSchemaVersion of <ryx/profile_tables.h>. */
RYX_PROFILE_API int ryx_profile_schema_version(void);

#ifdef __cplusplus
}
#endif

#endif
