#include "wav_data.h"

#include <array>
#include <fstream>
#include <string_view>

namespace Harmotrack::Examples {
namespace {

/// What each chunk of the file begins with.
struct ChunkHead {
    std::array<char, 4> name{};
    std::uint64_t bytes = 0;
};

std::optional<ChunkHead> readChunkHead(std::istream& stream)
{
    ChunkHead head;
    std::array<char, 4> size{}; // little-endian
    if (!stream.read(head.name.data(), 4) || !stream.read(size.data(), 4)) return std::nullopt;
    for (std::size_t i = size.size(); i-- > 0;)
        head.bytes = head.bytes << 8U | static_cast<unsigned char>(size[i]);
    return head;
}

bool isNamed(const ChunkHead& head, std::string_view name)
{
    return std::string_view(head.name.data(), head.name.size()) == name;
}

} // namespace

std::optional<WavData> wavData(const std::filesystem::path& file)
{
    constexpr std::uint64_t kNoLength = 0x7FFF0000; // and above
    std::ifstream stream(file, std::ios::binary);
    const auto riff = readChunkHead(stream);
    std::array<char, 4> kind{};
    if (!riff || !isNamed(*riff, "RIFF") || !stream.read(kind.data(), 4) ||
        std::string_view(kind.data(), kind.size()) != "WAVE")
        return std::nullopt;

    while (const auto chunk = readChunkHead(stream)) {
        const auto start = stream.tellg();
        if (isNamed(*chunk, "data")) {
            if (chunk->bytes >= kNoLength) return std::nullopt;
            stream.seekg(0, std::ios::end);
            return WavData{chunk->bytes, static_cast<std::uint64_t>(stream.tellg() - start)};
        }
        // Chunks begin at even places.
        stream.seekg(start + static_cast<std::streamoff>(chunk->bytes + chunk->bytes % 2));
    }
    return std::nullopt;
}

} // namespace Harmotrack::Examples
