// Where the demuxer's debug lines go. The demuxer has no log of its own: whoever links it says.
#pragma once

/**
 * Takes one debug line. The demuxer calls it and doesn't define it: the front end does, with the
 * platform's log (kelflac_log.cpp), and the package, which drops the lines
 * (kelflacfd_log_none.cpp).
 *
 * @param line text without a line end, at most 255 bytes and a NUL; the caller's.
 */
void kelflacfd_log(const char* line);
