// SPDX-License-Identifier: Apache-2.0
#define _POSIX_C_SOURCE 200809L /* open_memstream */

#include "arrow_consumer.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { MAX_BATCHES = 4096, MAX_COLUMNS = 64 };

static int is_set(const uint8_t* bits, int64_t i) { return bits[i / 8] >> (i % 8) & 1; }

static void print_text(FILE* out, const struct ArrowArray* array, int64_t row) {
  const int32_t* offsets = array->buffers[1];
  const char* bytes = array->buffers[2];
  fwrite(bytes + offsets[row], 1, (size_t)(offsets[row + 1] - offsets[row]), out);
}

static void print_cell(FILE* out, const struct ArrowSchema* schema, const struct ArrowArray* array,
                       int64_t row) {
  const uint8_t* validity = array->buffers[0];
  if (validity != NULL && !is_set(validity, row)) {
    fputs("<null>", out);
    return;
  }
  const void* values = array->buffers[1];
  switch (schema->format[0]) {
    case 'l': fprintf(out, "%" PRId64, ((const int64_t*)values)[row]); break;
    case 'L': fprintf(out, "%" PRIu64, ((const uint64_t*)values)[row]); break;
    case 'g': fprintf(out, "%a", ((const double*)values)[row]); break;
    case 'i': print_text(out, array->dictionary, ((const int32_t*)values)[row]); break;
    default: print_text(out, array, row);
  }
}

static void print_rows(FILE* out, const struct ArrowSchema* schema,
                       struct ArrowArray* const* columns, int64_t rows) {
  for (int64_t row = 0; row < rows; ++row)
    for (int64_t i = 0; i < schema->n_children; ++i) {
      print_cell(out, schema->children[i], columns[i], row);
      fputc(i + 1 == schema->n_children ? '\n' : '|', out);
    }
}

static void print_schema(FILE* out, const struct ArrowSchema* schema) {
  for (int64_t i = 0; i < schema->n_children; ++i) {
    const struct ArrowSchema* column = schema->children[i];
    fprintf(out, "%s:%s%s%s%c", column->name, column->format,
            column->dictionary != NULL ? column->dictionary->format : "",
            (column->flags & ARROW_FLAG_NULLABLE) != 0 ? "?" : "",
            i + 1 == schema->n_children ? '\n' : '|');
  }
}

/* What Arrow says of every buffer, and of the counts. */
static const char* fault_of(const struct ArrowSchema* schema, const struct ArrowArray* batch) {
  if (batch->n_children != schema->n_children || batch->offset != 0) return "batch";
  for (int64_t i = 0; i < batch->n_children; ++i) {
    const struct ArrowArray* column = batch->children[i];
    if (column->length != batch->length) return "length";
    for (int64_t j = 0; j < column->n_buffers; ++j)
      if ((uintptr_t)column->buffers[j] % 64 != 0) return "alignment";
    int64_t nulls = 0;
    const uint8_t* validity = column->buffers[0];
    for (int64_t row = 0; validity != NULL && row < column->length; ++row)
      nulls += !is_set(validity, row);
    if (nulls != column->null_count) return "null count";
    if (nulls > 0 && (schema->children[i]->flags & ARROW_FLAG_NULLABLE) == 0) return "nullable";
  }
  return NULL;
}

/* Moves a batch's columns out and releases what is left of it. */
static struct ArrowArray** move_columns(struct ArrowArray* batch) {
  struct ArrowArray** columns = calloc(MAX_COLUMNS, sizeof *columns);
  for (int64_t i = 0; i < batch->n_children; ++i) {
    columns[i] = malloc(sizeof **columns);
    *columns[i] = *batch->children[i];
    batch->children[i]->release = NULL;
  }
  batch->release(batch);
  return columns;
}

char* print_stream(struct ArrowArrayStream* given, enum release_order order) {
  struct ArrowArrayStream stream = *given; /* moved */
  given->release = NULL;
  char* text = NULL;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  struct ArrowSchema schema = {0};
  struct ArrowArray batches[MAX_BATCHES];
  int count = 0;
  int error = stream.get_schema(&stream, &schema);
  if (error == 0) print_schema(out, &schema);
  while (error == 0 && count < MAX_BATCHES) {
    struct ArrowArray batch;
    error = stream.get_next(&stream, &batch);
    if (error != 0 || batch.release == NULL) break;
    const char* fault = fault_of(&schema, &batch);
    if (fault != NULL) fprintf(out, "fault: %s\n", fault);
    if (order == RELEASE_AS_READ) {
      print_rows(out, &schema, batch.children, batch.length);
      batch.release(&batch);
    } else {
      batches[count++] = batch;
    }
  }
  char said[512] = "";
  if (error != 0)
    snprintf(said, sizeof said, "error %d: %s\n", error, stream.get_last_error(&stream));
  stream.release(&stream);
  for (int i = 0; i < count; ++i) {
    const int64_t rows = batches[i].length;
    if (order == RELEASE_STREAM_FIRST) {
      print_rows(out, &schema, batches[i].children, rows);
      batches[i].release(&batches[i]);
    } else {
      struct ArrowArray** columns = move_columns(&batches[i]);
      print_rows(out, &schema, columns, rows);
      for (int64_t j = schema.n_children; j-- > 0;) {
        columns[j]->release(columns[j]);
        free(columns[j]);
      }
      free(columns);
    }
  }
  if (schema.release != NULL) schema.release(&schema);
  fputs(said, out);
  fclose(out);
  return text;
}
