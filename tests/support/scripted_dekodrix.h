/*
 * scripted_dekodrix.h - control of the scripted decoding library.
 *
 * The scripted library takes the place of the decoding library under its name,
 * libdekodrix.so, and does what a test asks for: it records every call and hands
 * out the traces that were queued. The functions below are extra exports of the
 * same library. All state is global to the process and not locked: control it
 * while no source runs, or from within a callback of the running one.
 */
#ifndef SCRIPTED_DEKODRIX_H
#define SCRIPTED_DEKODRIX_H

#include <dekodrix/dekodrix.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The functions of dekodrix.h, as they appear in the record of calls. */
typedef enum scripted_function {
  scripted_new,
  scripted_delete,
  scripted_set_timebase,
  scripted_reset,
  scripted_set_configuration_json,
  scripted_append_buffer,
  scripted_parse,
  scripted_get_trace_count,
  scripted_get_trace
} scripted_function;

/* One recorded call. */
typedef struct scripted_call {
  scripted_function function;
  const dekodrix* handle; /* the handle passed in; for scripted_new the one returned */
  uint64_t number;        /* set_timebase: the base; get_trace_count: the answer;
                             get_trace: 1 if a trace was returned, 0 if not */
  bool flag;              /* set_timebase: the flag; set_configuration_json: the answer */
  const char* bytes;      /* copy of the bytes passed in; valid until the next clear */
  size_t size;            /* how many */
} scripted_call;

/* Forgets the script, the queued traces and the record of calls. */
void scripted_dekodrix_clear(void);

/* Whether calls are recorded; clear() switches it on. Off, a call allocates nothing. */
void scripted_dekodrix_record_calls(bool on);

/* The recorded calls, oldest first. `index` must be below the count. */
size_t scripted_dekodrix_call_count(void);
scripted_call scripted_dekodrix_call(size_t index);

/* Every dekodrix_new from here on returns NULL. */
void scripted_dekodrix_return_no_handle(void);

/* Every dekodrix_set_configuration_json from here on returns false. */
void scripted_dekodrix_refuse_configuration(void);

/*
 * The next call of `function` throws: std::runtime_error with `text`, or an int
 * if `text` is NULL. It is recorded first. A handle is deleted or made nevertheless
 * only by dekodrix_delete.
 */
void scripted_dekodrix_throw_from(scripted_function function, const char* text);

/* Every dekodrix_delete from here on calls `hook` with `user_data` first; not if NULL. */
void scripted_dekodrix_on_delete(void (*hook)(void* user_data), void* user_data);

/*
 * Queues a trace that dekodrix_get_trace returns once `parses` calls of
 * dekodrix_parse have been made (0: at once). `data` is copied when the trace
 * is handed out, and must stay valid until then; NULL gives a record without
 * data that still claims `data_length` bytes.
 */
void scripted_dekodrix_add_trace(uint64_t parses, uint32_t master_id, uint64_t timestamp,
                                 const uint8_t* data, uint64_t data_length);

/*
 * Scripts the next answer of dekodrix_get_trace_count that is not scripted yet.
 * Without one the answer is the number of traces that are ready.
 */
void scripted_dekodrix_add_trace_count(uint64_t count);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* SCRIPTED_DEKODRIX_H */
