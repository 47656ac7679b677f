/*
 * dekodrix/dekodrix.h - the decoding library's C interface, as the plug-in uses it.
 *
 * A dekodrix library takes the raw trace bytes of a modem and hands back the
 * traces in them. It is bound when the plug-in is loaded, under the name
 * `libdekodrix.so` (exactly that soname) or `dekodrix.dll`; the first one in the
 * library search path is used, so another implementation takes the place of the
 * one shipped here without a rebuild.
 *
 * A handle is used by one thread at a time; different handles are independent.
 * Unless a function says otherwise, `decoder` must be a live handle.
 */
#ifndef DEKODRIX_H
#define DEKODRIX_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A decoder. The handle itself is one 8-byte object from the C++ heap
 * (`operator new`): its user may give just that object back with
 * `operator delete` when it replaces the decoder.
 */
typedef struct dekodrix dekodrix;

/*
 * One decoded trace. The record, and its data when not NULL, are two malloc'ed
 * blocks; the caller of dekodrix_get_trace owns both and frees both with free().
 */
typedef struct dekodrix_trace {
  uint32_t master_id;   /* core that emitted the trace */
  uint64_t channel;     /* not read by the plug-in */
  uint64_t timestamp;   /* copied unchanged into the packet; nanoseconds in the open decoder */
  uint8_t *data;        /* payload, may be NULL */
  uint64_t data_length; /* bytes in `data` */
} dekodrix_trace;

/* Creates a decoder that has no configuration yet. Returns NULL on failure. */
dekodrix *dekodrix_new(void);

/* Destroys a decoder and the traces that it still holds. NULL is ignored. */
void dekodrix_delete(dekodrix *decoder);

/*
 * Sets what timestamps count from: with `flag` true the decoder adds `base`
 * (nanoseconds) to the time carried by each trace, with false it does not.
 */
void dekodrix_set_timebase(dekodrix *decoder, uint64_t base, bool flag);

/* Forgets all bytes, traces and stream state; keeps the configuration and timebase. */
void dekodrix_reset(dekodrix *decoder);

/*
 * Configures the decoder from a JSON text of `length` bytes, which needs no
 * terminating NUL and is not kept. Returns false, and keeps the configuration it
 * had, if the text is not a configuration of this decoder.
 */
bool dekodrix_set_configuration_json(dekodrix *decoder, const char *text, size_t length);

/*
 * Takes the next `count` bytes of the stream. Copies them; any split of the
 * stream into calls gives the same traces. `bytes` may be NULL when `count` is 0.
 */
void dekodrix_append_buffer(dekodrix *decoder, const uint8_t *bytes, size_t count);

/* Decodes everything appended so far. */
void dekodrix_parse(dekodrix *decoder);

/* Returns how many decoded traces wait for dekodrix_get_trace. */
uint64_t dekodrix_get_trace_count(dekodrix *decoder);

/* Takes the oldest waiting trace; the caller owns it. Returns NULL when none is left. */
dekodrix_trace *dekodrix_get_trace(dekodrix *decoder);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* DEKODRIX_H */
