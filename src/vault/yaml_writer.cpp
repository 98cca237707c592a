#include "vault/yaml_writer.h"

#include <fmt/format.h>

#include "vault/yaml_limits.h"
#include "vault/yaml_scalars.h"

namespace kelvaris {

namespace {

const yaml_char_t* yamlText(std::string_view text) {
    return reinterpret_cast<const yaml_char_t*>(text.data());
}

int append(void* target, unsigned char* bytes, size_t count) {
    static_cast<std::string*>(target)->append(reinterpret_cast<const char*>(bytes), count);
    return 1;
}

constexpr int implicit = 1;

}  // namespace

YamlWriter::YamlWriter() {
    if (!yaml_emitter_initialize(&emitter_)) {
        fail("Out of memory");
        return;
    }
    yaml_emitter_set_output(&emitter_, append, &text_);
    yaml_emitter_set_encoding(&emitter_, YAML_UTF8_ENCODING);
    yaml_emitter_set_canonical(&emitter_, 0);
    yaml_emitter_set_indent(&emitter_, 0);
    yaml_emitter_set_width(&emitter_, 0);
    yaml_emitter_set_unicode(&emitter_, 0);
    yaml_emitter_set_break(&emitter_, YAML_LN_BREAK);
    yaml_event_t event;
    emit(event, yaml_stream_start_event_initialize(&event, YAML_UTF8_ENCODING));
    emit(event, yaml_document_start_event_initialize(&event, nullptr, nullptr, nullptr, implicit));
}

YamlWriter::~YamlWriter() { yaml_emitter_delete(&emitter_); }

void YamlWriter::beginMapping() {
    if (!failure_.empty()) return;
    yaml_event_t event;
    emit(event,
         yaml_mapping_start_event_initialize(&event, nullptr, nullptr, implicit, YAML_ANY_MAPPING_STYLE));
}

void YamlWriter::endMapping() {
    if (!failure_.empty()) return;
    yaml_event_t event;
    emit(event, yaml_mapping_end_event_initialize(&event));
}

void YamlWriter::beginSequence() {
    if (!failure_.empty()) return;
    yaml_event_t event;
    emit(event,
         yaml_sequence_start_event_initialize(&event, nullptr, nullptr, implicit, YAML_ANY_SEQUENCE_STYLE));
}

void YamlWriter::endSequence() {
    if (!failure_.empty()) return;
    yaml_event_t event;
    emit(event, yaml_sequence_end_event_initialize(&event));
}

void YamlWriter::string(std::string_view text) {
    scalar(text,
           yaml::resolvesAsOtherThanString(text) ? YAML_SINGLE_QUOTED_SCALAR_STYLE : YAML_PLAIN_SCALAR_STYLE);
}

void YamlWriter::boolean(bool value) { plain(value ? "true" : "false"); }

void YamlWriter::integer(std::int64_t value) {
    const fmt::format_int text(value);
    plain({text.data(), text.size()});
}

void YamlWriter::real(double value) { plain(yaml::doubleText(value)); }

void YamlWriter::real32(float value) { plain(yaml::floatText(value)); }

void YamlWriter::timestamp(Instant value) {
    if (!isStorable(value)) return fail("A date lies outside the years 0000 to 9999");
    plain(timestampText(value));
}

Result<std::string, std::string> YamlWriter::finish() {
    if (failure_.empty()) {
        yaml_event_t event;
        emit(event, yaml_document_end_event_initialize(&event, implicit));
        if (failure_.empty()) emit(event, yaml_stream_end_event_initialize(&event));
    }
    if (!failure_.empty()) return Unexpected(failure_);
    return std::move(text_);
}

void YamlWriter::plain(std::string_view text) { scalar(text, YAML_PLAIN_SCALAR_STYLE); }

void YamlWriter::scalar(std::string_view text, yaml_scalar_style_t style) {
    if (!failure_.empty()) return;
    scalarBytes_ += text.size();
    if (scalarBytes_ > YamlLimits().bytes) return fail("The document would be too long to be read");
    yaml_event_t event;
    const int made = yaml_scalar_event_initialize(&event, nullptr, nullptr, yamlText(text),
                                                  static_cast<int>(text.size()), implicit, implicit, style);
    if (!made) return fail("A text is not valid UTF-8");
    emit(event, made);
}

void YamlWriter::emit(yaml_event_t& event, int initialized) {
    if (!initialized) return fail("Out of memory");
    // The emitter takes the event over, also when it fails.
    if (!yaml_emitter_emit(&emitter_, &event)) {
        fail(emitter_.problem ? emitter_.problem : "The document cannot be emitted");
    }
}

void YamlWriter::fail(std::string reason) {
    if (failure_.empty()) failure_ = std::move(reason);
}

}  // namespace kelvaris
