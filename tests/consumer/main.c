// SPDX-License-Identifier: Apache-2.0
/* Counts the events of a log through the C library. */

#include <ryx/profile_arrow.h>
#include <stdio.h>

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "";
  ryx_profile* log = NULL;
  struct ArrowArrayStream events;
  if (ryx_profile_open(&path, 1, &log) != 0 ||
      ryx_profile_stream(log, "events", NULL, &events) != 0) {
    fprintf(stderr, "%s\n", ryx_profile_last_error());
    return 1;
  }
  ryx_profile_close(log);
  long long rows = 0;
  struct ArrowArray batch;
  int error;
  while ((error = events.get_next(&events, &batch)) == 0 && batch.release != NULL) {
    rows += batch.length;
    batch.release(&batch);
  }
  if (error != 0) fprintf(stderr, "%s\n", events.get_last_error(&events));
  events.release(&events);
  return error == 0 && rows > 0 ? 0 : 1;
}
