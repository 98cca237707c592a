#include "vault/vault_documents.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "vault/bodies.h"
#include "vault/frontmatter.h"
#include "vault/record_yaml.h"

namespace kelvaris {

namespace {

template <class Record>
Result<Record, DecodeFailure> decoded(std::string_view file, const char* invalidReason) {
    using Kind = DecodeFailure::Kind;
    if (file.size() > YamlLimits().bytes) {
        return Unexpected(DecodeFailure{Kind::notFrontmatter, "The file is too long"});
    }
    const auto yaml = readFrontmatter(file);
    if (!yaml) {
        return Unexpected(DecodeFailure{Kind::notFrontmatter, "No frontmatter between two fences in UTF-8"});
    }
    if (yaml->empty()) return Unexpected(DecodeFailure{Kind::undecodable, "The frontmatter is empty"});
    const auto linesBefore = std::count(file.data(), yaml->data(), '\n');
    auto record = decodedYaml<Record>(*yaml, static_cast<std::size_t>(linesBefore) + 1);
    if (!record) return Unexpected(DecodeFailure{Kind::undecodable, std::move(record).error()});
    if (!record->isValid()) return Unexpected(DecodeFailure{Kind::invalid, invalidReason});
    return std::move(*record);
}

Result<std::string, std::string> assembled(Result<std::string, std::string> yaml, std::string_view body) {
    if (!yaml) return yaml;
    std::string file = frontmatterFile(*yaml, body);
    // What the reader would refuse must not replace what it takes.
    if (file.size() > YamlLimits().bytes) return Unexpected(std::string("The file would be too long"));
    return file;
}

template <class Record>
std::optional<Record> logged(Result<Record, DecodeFailure> result, const char* rejection) {
    if (!result && result.error().kind == DecodeFailure::Kind::invalid) log::error("Vault", "{}", rejection);
    return std::move(result).toOptional();
}

}  // namespace

Result<std::string, std::string> encodedRollFile(const VaultRollManifest& manifest,
                                                 const Language& language) {
    return assembled(encodedYaml(manifest), generateMarkdownBody(manifest, language));
}

Result<std::string, std::string> encodedPreferencesFile(const VaultPreferences& preferences,
                                                        const Language& language, const Clock& clock) {
    return assembled(encodedYaml(preferences), generatePreferencesBody(preferences, language, clock.now()));
}

Result<VaultRollManifest, DecodeFailure> decodedRollFile(std::string_view file) {
    return decoded<VaultRollManifest>(file, "An id, a sort index, a people count or a coordinate is invalid");
}

Result<VaultPreferences, DecodeFailure> decodedPreferencesFile(std::string_view file) {
    return decoded<VaultPreferences>(file, "A number is out of its range");
}

template <>
std::optional<VaultRollManifest> decodeFrontmatter(std::string_view file) {
    return logged(decodedRollFile(file), "Rejected invalid roll metadata");
}

template <>
std::optional<VaultPreferences> decodeFrontmatter(std::string_view file) {
    return logged(decodedPreferencesFile(file), "Rejected invalid preferences");
}

}  // namespace kelvaris
