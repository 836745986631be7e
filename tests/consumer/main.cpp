#include "libextractor/flac/demuxer/kelflacfd.h"
int main() {
    KELFLACFD_INFO info;
    return kelflacfd_get_info(nullptr, &info) == KELFLACFD_E_HANDLE ? 0 : 1;
}
