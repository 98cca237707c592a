#include "vault/embedding_sidecar.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::string_view magic = "KVEM";
constexpr std::uint32_t formatVersion = 1;
static_assert(sizeof(float) == 4);

std::uint32_t littleEndian(std::uint32_t value) {
    if constexpr (std::endian::native == std::endian::little) return value;
    return value << 24 | (value & 0xff00) << 8 | (value >> 8 & 0xff00) | value >> 24;
}

void put(Bytes& bytes, std::uint32_t value) {
    value = littleEndian(value);
    const auto* begin = reinterpret_cast<const std::uint8_t*>(&value);
    bytes.insert(bytes.end(), begin, begin + sizeof value);
}

void put(Bytes& bytes, std::string_view text) {
    const ByteView view = asBytes(text);
    bytes.insert(bytes.end(), view.begin(), view.end());
}

void put(Bytes& bytes, const std::vector<float>& floats) {
    put(bytes, static_cast<std::uint32_t>(floats.size()));
    if constexpr (std::endian::native == std::endian::little) {
        const auto* begin = reinterpret_cast<const std::uint8_t*>(floats.data());
        bytes.insert(bytes.end(), begin, begin + floats.size() * sizeof(float));
    } else {
        for (const float value : floats) put(bytes, std::bit_cast<std::uint32_t>(value));
    }
}

/// Takes values from the front of the data; a value that the data does not hold whole is nothing.
class Cursor {
public:
    explicit Cursor(ByteView data) : rest_(data) {}

    std::size_t remaining() const { return rest_.size(); }

    std::optional<ByteView> readBytes(std::size_t count) {
        if (count > rest_.size()) return std::nullopt;
        const ByteView bytes = rest_.first(count);
        rest_ = rest_.subspan(count);
        return bytes;
    }

    std::optional<std::uint32_t> readUInt32() {
        const auto bytes = readBytes(sizeof(std::uint32_t));
        if (!bytes) return std::nullopt;
        std::uint32_t value = 0;
        std::memcpy(&value, bytes->data(), sizeof value);
        return littleEndian(value);
    }

    std::optional<std::vector<float>> readFloats() {
        const auto count = readUInt32();
        if (!count) return std::nullopt;
        const auto bytes = readBytes(std::size_t{*count} * sizeof(float));
        if (!bytes) return std::nullopt;
        std::vector<float> floats(*count);
        if (!floats.empty()) std::memcpy(floats.data(), bytes->data(), bytes->size());
        if constexpr (std::endian::native != std::endian::little) {
            for (float& value : floats) {
                value = std::bit_cast<float>(littleEndian(std::bit_cast<std::uint32_t>(value)));
            }
        }
        return floats;
    }

private:
    ByteView rest_;
};

std::optional<PhotoEmbeddings> readPhoto(Cursor& cursor) {
    PhotoEmbeddings photo;
    auto clip = cursor.readFloats();
    if (!clip) return std::nullopt;
    if (!clip->empty()) photo.clip = std::move(*clip);
    const auto faceCount = cursor.readUInt32();
    if (!faceCount) return std::nullopt;
    // Each face takes at least the four bytes of its count.
    photo.faces.reserve(std::min<std::size_t>(*faceCount, cursor.remaining() / sizeof(std::uint32_t)));
    for (std::uint32_t i = 0; i < *faceCount; ++i) {
        auto face = cursor.readFloats();
        if (!face) return std::nullopt;
        photo.faces.push_back(std::move(*face));
    }
    return photo;
}

}  // namespace

Bytes EmbeddingSidecar::encode(const EmbeddingsByFilename& embeddings) {
    constexpr std::size_t word = sizeof(std::uint32_t);
    std::size_t size = magic.size() + 2 * word;
    for (const auto& [filename, photo] : embeddings) {
        size += 3 * word + filename.size() + (photo.clip ? photo.clip->size() * word : 0);
        for (const auto& face : photo.faces) size += word + face.size() * word;
    }
    Bytes bytes;
    bytes.reserve(size);
    put(bytes, magic);
    put(bytes, formatVersion);
    put(bytes, static_cast<std::uint32_t>(embeddings.size()));
    for (const auto& [filename, photo] : embeddings) {  // std::string orders by bytes
        put(bytes, static_cast<std::uint32_t>(filename.size()));
        put(bytes, std::string_view(filename));
        put(bytes, photo.clip.value_or(std::vector<float>()));
        put(bytes, static_cast<std::uint32_t>(photo.faces.size()));
        for (const auto& face : photo.faces) put(bytes, face);
    }
    return bytes;
}

std::optional<EmbeddingsByFilename> EmbeddingSidecar::decode(ByteView data) {
    Cursor cursor(data);
    const auto head = cursor.readBytes(magic.size());
    if (!head || asText(*head) != magic) return std::nullopt;
    const auto version = cursor.readUInt32();
    const auto count = version == formatVersion ? cursor.readUInt32() : std::nullopt;
    if (!count) return std::nullopt;
    EmbeddingsByFilename embeddings;
    for (std::uint32_t i = 0; i < *count; ++i) {
        const auto length = cursor.readUInt32();
        const auto name = length ? cursor.readBytes(*length) : std::nullopt;
        if (!name || !isValidUtf8(asText(*name))) return std::nullopt;
        auto photo = readPhoto(cursor);
        if (!photo) return std::nullopt;
        embeddings.insert_or_assign(std::string(asText(*name)), std::move(*photo));
    }
    return embeddings;
}

}  // namespace kelvaris
