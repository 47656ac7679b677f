/*
 * kovax/source.h - the C interface between a host and a trace source plug-in.
 *
 * A source plug-in is a shared library (here `kovax-veltra-source.kovax`) that
 * exports the seven functions declared below, and nothing else. A host opens it
 * with dlopen() or LoadLibrary(), resolves the functions by name through the
 * `kovax_source_*_fn` types, and drives one instance like this:
 *
 *     thread A                               thread B
 *     --------                               --------
 *     kovax_source_init        -> handle
 *     kovax_source_start       (blocks)      kovax_source_stop
 *       packet callback, log callback ...
 *     kovax_source_start returns
 *     kovax_source_get_last_error            (only after a failure)
 *     kovax_source_start       (may be called again)
 *     kovax_source_release
 *
 * Notation used in the comments below:
 *   [thread-A]     the thread that owns the instance; it calls init, start and
 *                  release, and every packet callback runs on it
 *   [any-thread]   may be called from any thread while the instance exists
 *   [during call]  the pointer is valid until the function or callback returns;
 *                  copy what has to live longer
 *
 * Text is NUL-terminated UTF-8, except log and error messages that quote the
 * input: a trace may hold any bytes where a UUID belongs. Sizes are bytes.
 * Nothing that crosses this interface has to be freed by the receiver. No
 * exception leaves an exported function, whatever a callback throws.
 *
 * Memory that runs out is a failure of the function that was called, and stop and
 * get_last_error need none. Two places cannot report it and end the process: the
 * standard library's directory iterator, while the database of a UUID is looked for;
 * and the thread that receives from a serial port.
 *
 * The header compiles as C11 and as C++11 and later. Record layouts are those
 * of 64-bit targets with natural alignment.
 */
#ifndef KOVAX_SOURCE_H
#define KOVAX_SOURCE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One source instance. Created by kovax_source_init, freed by kovax_source_release. */
typedef struct kovax_source kovax_source;

/*
 * Results of the exported functions. kovax_source_start and kovax_source_stop
 * may also return the code that the failure itself carries, such as
 * KOVAX_RESULT_NO_DATABASE_UID.
 */
enum {
  KOVAX_RESULT_OK = 0,               /* success */
  KOVAX_RESULT_INIT_FAILED = 1,      /* kovax_source_init: see the error callback */
  KOVAX_RESULT_NO_DATABASE_UID = 22, /* the input ended before a database UUID was seen */
  KOVAX_RESULT_FAILED = 100          /* any failure that carries no code of its own */
};

/* Levels given to the log callback. */
enum {
  KOVAX_LOG_PROGRESS = 2,           /* what the plug-in is doing */
  KOVAX_LOG_RECOVERABLE_FAILURE = 5 /* something failed and the plug-in went on */
};

/* A failure: what happened, and a code for programs. */
typedef struct kovax_error_t {
  const char* message; /* [during call] */
  int32_t code;
} kovax_error_t;

/* The plug-in's version. */
typedef struct kovax_version_t {
  int32_t major;
  int32_t minor;
  int32_t patch;
} kovax_version_t;

/*
 * One packet. The record is passed by value; `data`, `format`, `category` and
 * `metadata` are valid [during call] only.
 *
 * Raw packets hold the input bytes as they came: format "modem_trace",
 * category "binary", and zero in field_32 and timestamp. Decoded packets name
 * their protocol layer in `format` ("ip", "nas-eps", "at", "lte_rrc." + channel,
 * "handshake_randbytes", "session_master") and have category "network" or "tls"
 * and 1 in field_32.
 */
typedef struct kovax_stream_packet_t {
  const uint8_t* data;      /* payload; `data_size` bytes */
  uint32_t data_size;       /* bytes; 0 is possible for a decoded packet */
  uint32_t field_12;        /* always 0 */
  const char* format;       /* "modem_trace", or the layer's name */
  const char* category;     /* "binary", "network" or "tls" */
  uint64_t field_32;        /* 0 raw, 1 decoded */
  uint64_t timestamp;       /* decoded: the decoder's timestamp of the trace, unchanged
                               (nanoseconds with the open decoder); raw: 0 */
  const char* metadata;     /* compact JSON object (RFC 8259), members in this order:
                               "data_offset"   bytes of all raw packets so far
                               "data_size"     size of the trace file; only for a file
                               "modem_db_path" database in use, empty if none
                               "modem_db_uuid" its UUID, empty if none */
  uint64_t sequence_number; /* 1 for an instance's first packet, then +1 for every
                               packet, raw or decoded; runs on over a new start */
  uint64_t field_64;        /* always 0 */
} kovax_stream_packet_t;

/*
 * Progress messages. `source` is the instance, or NULL for messages made before
 * it exists. Runs on whichever thread carries out the operation: [thread-A]
 * inside init and start, the caller's thread inside stop. `message` is valid
 * [during call]. An exception thrown from here is a failure of the function
 * that was called.
 */
typedef void (*kovax_log_callback)(kovax_source* source, void* log_user_data, int32_t level,
                                   const char* message);

/* Receives one failure. `error.message` is valid [during call]. */
typedef void (*kovax_error_callback)(void* error_user_data, kovax_error_t error);

/*
 * Receives one packet, on [thread-A] inside kovax_source_start. May call
 * kovax_source_stop; must not call start or release. An exception thrown from
 * here ends the run as a failure.
 */
typedef void (*kovax_packet_callback)(kovax_source* source, void* packet_user_data,
                                      kovax_stream_packet_t packet);

/* Receives one text, valid [during call]. */
typedef void (*kovax_text_callback)(void* user_data, const char* text);

/* Receives the version, valid [during call]. */
typedef void (*kovax_version_callback)(void* user_data, const kovax_version_t* version);

/*
 * Arguments of kovax_source_init. The record and `parameters` are read during
 * the call only; `log` and `log_user_data` are kept until release and must stay
 * usable until then. `log` and `error` may be NULL: then nothing is reported.
 */
typedef struct kovax_source_init_args {
  const char* parameters;     /* JSON object of init parameters (kovax_source_init_parameters
                                 publishes its schema) */
  void* log_user_data;        /* passed back unchanged with every log call */
  kovax_log_callback log;     /* may be NULL */
  void* error_user_data;      /* passed back unchanged to `error` */
  kovax_error_callback error; /* receives the failure of kovax_source_init; may be NULL */
} kovax_source_init_args;

/*
 * Creates an instance from its init parameters: checks them, opens the trace
 * file, and loads the trace database or brings the database cache up to date.
 * A serial port is opened by start, not here. Only one instance at a time may be
 * initialised in a process: a download initialises libcurl (curl_global_init(3)).
 *
 * `source`: receives the new instance, on success only; must not be NULL.
 * `args`:   must not be NULL.
 * Returns KOVAX_RESULT_OK; or KOVAX_RESULT_INIT_FAILED after one call of the
 * error callback with code 1, in which case no instance exists and `*source` is
 * untouched. [thread-A]
 */
typedef int32_t (*kovax_source_init_fn)(kovax_source** source, const kovax_source_init_args* args);

/*
 * Publishes the JSON Schema (edition 2020-12) of the host's configuration entry
 * for this plug-in; its member "init_parameters" describes the text that
 * kovax_source_init takes. Needs no instance.
 *
 * Calls `callback` once. Returns KOVAX_RESULT_OK, or KOVAX_RESULT_FAILED if the
 * callback threw. [any-thread]
 */
typedef int32_t (*kovax_source_init_parameters_fn)(void* user_data, kovax_text_callback callback);

/*
 * Reads the input and delivers packets until the end of the file, a stop, or a
 * failure; returns only then. May be called again after it returned: the packet
 * counter runs on, a file goes on where it was, a serial port that a stop closed
 * is opened again. A port that failed - its device was lost, or it does not take
 * its settings - has to be closed by kovax_source_stop first.
 *
 * While no database is set up yet, a run searches the input for its UUID and
 * delivers what it searched as raw packets when the search ends. A search that a
 * stop ended is taken up by the next run, which delivers its bytes once more. A
 * search always reads on, so one that failed for want of a database on the disk
 * needs more input, or a new instance.
 *
 * `source`: an instance, not NULL. `callback`: may be NULL, then packets are
 * counted and dropped.
 * Returns KOVAX_RESULT_OK, KOVAX_RESULT_NO_DATABASE_UID or KOVAX_RESULT_FAILED;
 * text and code of a failure are kept for kovax_source_get_last_error. A stop
 * ends a file's run with KOVAX_RESULT_OK; a serial port's with KOVAX_RESULT_FAILED
 * and the text "stop extracting" when it meets a read, which is where such a run
 * waits, and with KOVAX_RESULT_OK when it meets the delivery of decoded packets.
 * Bytes that a serial port has received and no packet has by then stay for the next
 * run.
 *
 * The init parameter "recording": true changes the above. Raw packets come before the
 * search and the decoder get their bytes; a failure of either is logged and leaves the
 * raw packets coming; and a stop delivers everything received before it, and every
 * trace that the decoder holds, before start returns KOVAX_RESULT_OK. A second stop
 * breaks that off with KOVAX_RESULT_FAILED and a text that counts what is left.
 * docs/init-parameters.md has the details. [thread-A]
 */
typedef int32_t (*kovax_source_start_fn)(kovax_source* source, void* packet_user_data,
                                         kovax_packet_callback callback);

/*
 * Asks a running start to end, and wakes it if it waits for serial data. Does
 * not wait until it has ended. `source`: an instance, not NULL.
 * Returns KOVAX_RESULT_OK, or KOVAX_RESULT_FAILED with the failure kept for
 * kovax_source_get_last_error. [any-thread], also from a callback; not from a
 * signal handler.
 */
typedef int32_t (*kovax_source_stop_fn)(kovax_source* source);

/*
 * Destroys an instance that is not running and frees all it holds. `source` may
 * be NULL, which does nothing. The handle is invalid afterwards, whatever the
 * result. Returns KOVAX_RESULT_OK, or KOVAX_RESULT_FAILED if tearing down
 * failed. [thread-A]
 */
typedef int32_t (*kovax_source_release_fn)(kovax_source* source);

/*
 * Calls `callback` once with the plug-in's version. Needs no instance. Returns
 * KOVAX_RESULT_OK, or KOVAX_RESULT_FAILED if the callback threw. [any-thread]
 */
typedef int32_t (*kovax_source_version_fn)(void* user_data, kovax_version_callback callback);

/*
 * Calls `callback` once with the text and code of the last failure of start or
 * stop: empty and 0 when none has failed yet. A later success does not clear
 * it. `source`: an instance, not NULL. What the callback throws is ignored.
 * [any-thread]
 */
typedef void (*kovax_source_get_last_error_fn)(kovax_source* source, void* user_data,
                                               kovax_error_callback callback);

/*
 * The exported functions, for hosts that link the plug-in directly. They are
 * not declared dllimport, which costs such a host one indirection at most.
 */
int32_t kovax_source_init(kovax_source** source, const kovax_source_init_args* args);
int32_t kovax_source_init_parameters(void* user_data, kovax_text_callback callback);
int32_t kovax_source_start(kovax_source* source, void* packet_user_data,
                           kovax_packet_callback callback);
int32_t kovax_source_stop(kovax_source* source);
int32_t kovax_source_release(kovax_source* source);
int32_t kovax_source_version(void* user_data, kovax_version_callback callback);
void kovax_source_get_last_error(kovax_source* source, void* user_data,
                                 kovax_error_callback callback);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* KOVAX_SOURCE_H */
