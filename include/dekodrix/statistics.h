/*
 * dekodrix/statistics.h - the open decoder's counters, for diagnosis.
 *
 * They are not part of the interface in dekodrix/dekodrix.h, and other decoding
 * libraries do not have them. So a user looks the function up by its name at run time
 * and works without it if the library does not export it.
 */
#ifndef DEKODRIX_STATISTICS_H
#define DEKODRIX_STATISTICS_H

#include <dekodrix/dekodrix.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * What a decoder has found in its stream since it was created or reset. The counters
 * never go backwards in between, except the last one. docs/frame-format.md says which frames are
 * damaged.
 */
typedef struct dekodrix_statistics {
  uint64_t frames_found;              /* intact and damaged; empty frames do not count */
  uint64_t frames_intact;             /* with a right check, of any master */
  uint64_t frames_damaged;            /* aborted, of a wrong size or version, or a wrong check */
  uint64_t frames_of_unknown_masters; /* intact, but their master is not configured */
  uint64_t bytes_outside_frames;      /* before the first flag, or beyond the largest frame */
  uint64_t bytes_of_unfinished_frame; /* of a frame that has begun and not ended yet */
} dekodrix_statistics;

/*
 * Writes the counters up to the last dekodrix_parse to `statistics`; neither pointer
 * may be NULL. Cannot fail. On the thread that uses the handle, as every other function.
 */
void dekodrix_get_statistics(const dekodrix* decoder, dekodrix_statistics* statistics);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* DEKODRIX_STATISTICS_H */
