#pragma once

#include <yaml.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/instant.h"
#include "base/result.h"

namespace kelvaris {

/// Writes one YAML document of typed values, event by event. ASCII only (other characters are escaped),
/// block style, indented by two, folded at 80 columns. Any thread, one document per writer.
/// After the first failure nothing more is taken and finish() tells the reason.
class YamlWriter {
public:
    YamlWriter();
    ~YamlWriter();
    YamlWriter(const YamlWriter&) = delete;
    YamlWriter& operator=(const YamlWriter&) = delete;

    void beginMapping();
    void endMapping();
    void beginSequence();
    void endSequence();

    /// A key that is known not to resolve as another type than a string.
    void declaredKey(std::string_view key) { plain(key); }
    /// Quoted when the plain text would read back as another type.
    void string(std::string_view text);
    void boolean(bool value);
    void integer(std::int64_t value);
    void real(double value);
    void real32(float value);
    /// Fails for years outside 0000 to 9999, which no reader takes.
    void timestamp(Instant value);

    /// @return the document's text, or why there is none. Call once.
    Result<std::string, std::string> finish();

private:
    void plain(std::string_view text);
    void scalar(std::string_view text, yaml_scalar_style_t style);
    void emit(yaml_event_t& event, int initialized);
    void fail(std::string reason);

    yaml_emitter_t emitter_;
    std::string text_;
    std::string failure_;
    std::size_t scalarBytes_ = 0;
};

}  // namespace kelvaris
