#include "libextractor/flac/demuxer/kelflacfd_sync.h"

int find_far_sync_code(const KELFLACF_FAL_RUNS& runs, int from, int limit) {
    return sync_search::find_far<KELFLACFD_SYNC_BLOCK>(runs, from, limit);
}

int find_last_sync_code(const KELFLACF_FAL_RUNS& runs, int limit) {
    return sync_search::find_last<KELFLACFD_SYNC_BLOCK>(runs, limit);
}
