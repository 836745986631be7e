#include <kelflac/kelflacfd.h>
#include <kelflac/memory_source.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

int main(int, char** args) {
    std::ifstream file(args[1], std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    KELCMN_MFAL_MEMORY source = {bytes.data(), bytes.size()};
    _KELCMN_MFAL record = kelcmn_mfal_memory(&source);
    KELFLACFD_INFO info;
    KELFLACFD_CTX* stream = kelflacfd_create(&record, nullptr, &info, nullptr);
    if (stream == nullptr) return 1;

    static uint8_t frame[1 << 20];
    uint32_t length = 0;
    int64_t time = 0, next = 0;
    while (kelflacfd_reads_frames(stream) &&
           kelflacfd_get_frm(stream, frame, sizeof(frame), &length, &time, &next) == KELFLACFD_OK) {
        std::cout << length << " bytes at " << time << "\n";
    }
    kelflacfd_delete(stream);
}
