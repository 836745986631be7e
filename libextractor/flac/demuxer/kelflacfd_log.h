// The demuxer's debug lines.
#pragma once

/**
 * Takes one debug line. The demuxer calls this function; each program links one definition of it.
 * In the plug-in it writes to the platform's log (kelflac_demuxer_log.cpp). In the demuxer's
 * package it does nothing (kelflacfd_log_none.cpp).
 *
 * @param line text without a line end, at most 255 bytes and a NUL; valid during the call.
 */
void kelflacfd_log(const char* line);
