// SPDX-License-Identifier: Apache-2.0
/* A consumer of Arrow streams that is C and knows nothing but the two interfaces. */

#ifndef RYX_TESTS_ARROW_CONSUMER_H
#define RYX_TESTS_ARROW_CONSUMER_H

#include <ryx/profile_arrow.h>

#ifdef __cplusplus
extern "C" {
#endif

/* In which order what was got from a stream is given back. */
enum release_order {
  RELEASE_AS_READ,      /* each batch before the next */
  RELEASE_STREAM_FIRST, /* the batches and the schema are read after the stream is gone */
  RELEASE_COLUMNS_APART /* columns are moved out, and read when batch and stream are gone */
};

/* All rows of the stream, a line each: values as text between '|', <null> for none, after a line of
 * the columns' names, formats and flags. Then "error N: TEXT" where the stream ended with one.
 * Takes the stream over. To be freed. */
char* print_stream(struct ArrowArrayStream* stream, enum release_order order);

#ifdef __cplusplus
}
#endif

#endif
