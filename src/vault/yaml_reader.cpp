#include "vault/yaml_reader.h"

#include <fmt/format.h>

#include <utility>

namespace kelvaris {

/// One event of an anchored value. An alias inside it is kept as a link, not as a copy, so that what is
/// kept never exceeds what the document holds.
struct YamlReader::RecordedEvent {
    YamlEvent::Kind kind = YamlEvent::Kind::end;
    std::string text;
    std::string tag;
    bool isPlain = false;
    std::shared_ptr<const Recording> alias;
};

struct YamlReader::Recording {
    std::vector<RecordedEvent> events;
    std::size_t openCollections = 0;
    bool complete = false;
};

namespace {

std::string_view view(const yaml_char_t* text, std::size_t length) {
    return {reinterpret_cast<const char*>(text), length};
}

std::string_view view(const yaml_char_t* text) {
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

const yaml_char_t* anchorOf(const yaml_event_t& event) {
    switch (event.type) {
        case YAML_SCALAR_EVENT:
            return event.data.scalar.anchor;
        case YAML_SEQUENCE_START_EVENT:
            return event.data.sequence_start.anchor;
        case YAML_MAPPING_START_EVENT:
            return event.data.mapping_start.anchor;
        default:
            return nullptr;
    }
}

}  // namespace

YamlReader::YamlReader(std::string_view text, std::size_t firstLine, Mode mode, YamlLimits limits)
    : firstLine_(firstLine), mode_(mode), limits_(limits) {
    if (!yaml_parser_initialize(&parser_)) {
        failure_ = "Out of memory";
        isBroken_ = true;
        return;
    }
    if (text.size() > limits_.bytes) {
        breakOff("the text is too long");
        return;
    }
    if (text.empty()) text = "";  // the parser wants a place, also for nothing
    yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(&parser_, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    if (!parseNext() || !parseNext()) return;  // the stream's start and the document's
    if (event_.type == YAML_DOCUMENT_START_EVENT) {
        advance();
    } else {
        breakOff("the document is empty");
    }
}

YamlReader::~YamlReader() {
    if (holdsEvent_) yaml_event_delete(&event_);
    yaml_parser_delete(&parser_);
}

void YamlReader::advance() {
    if (!ok()) return;
    while (!replays_.empty() && replays_.back().next == replays_.back().recording->events.size()) {
        replays_.pop_back();
    }
    if (!replays_.empty()) return takeReplayed();
    if (parseNext()) takeParsed();
}

bool YamlReader::parseNext() {
    if (std::exchange(holdsEvent_, false)) yaml_event_delete(&event_);
    if (!yaml_parser_parse(&parser_, &event_)) {
        breakOff(parser_.problem ? parser_.problem : "the text is not YAML");
        return false;
    }
    holdsEvent_ = true;
    return true;
}

void YamlReader::takeParsed() {
    using Kind = YamlEvent::Kind;
    current_ = {};
    switch (event_.type) {
        case YAML_SCALAR_EVENT: {
            const auto& scalar = event_.data.scalar;
            current_ = {.kind = Kind::scalar,
                        .text = view(scalar.value, scalar.length),
                        .tag = view(scalar.tag),
                        .isPlain = scalar.style == YAML_PLAIN_SCALAR_STYLE};
            break;
        }
        case YAML_SEQUENCE_START_EVENT:
            current_.kind = Kind::sequenceStart;
            break;
        case YAML_SEQUENCE_END_EVENT:
            current_.kind = Kind::sequenceEnd;
            break;
        case YAML_MAPPING_START_EVENT:
            current_.kind = Kind::mappingStart;
            break;
        case YAML_MAPPING_END_EVENT:
            current_.kind = Kind::mappingEnd;
            break;
        case YAML_ALIAS_EVENT: {
            const auto found = anchors_.find(view(event_.data.alias.anchor));
            if (found == anchors_.end()) return breakOff("an alias without its anchor");
            if (!found->second->complete) return breakOff("an alias inside its own anchor");
            for (const auto& recording : recording_) recording->events.push_back({.alias = found->second});
            return startReplay(found->second);
        }
        case YAML_DOCUMENT_END_EVENT:
            if (parseNext() && event_.type != YAML_STREAM_END_EVENT) breakOff("more than one document");
            return;
        default:
            return breakOff("the document ends too early");
    }
    if (const yaml_char_t* anchor = anchorOf(event_)) {
        auto recording = std::make_shared<Recording>();
        anchors_.insert_or_assign(std::string(view(anchor)), recording);
        recording_.push_back(std::move(recording));
    }
    if (!recording_.empty()) record();
    countDepth();
}

void YamlReader::record() {
    using Kind = YamlEvent::Kind;
    for (const auto& recording : recording_) {
        recordedBytes_ += sizeof(RecordedEvent) + current_.text.size() + current_.tag.size();
        if (recordedBytes_ > limits_.recordedBytes) return breakOff("the anchors keep too much");
        recording->events.push_back({.kind = current_.kind,
                                     .text = std::string(current_.text),
                                     .tag = std::string(current_.tag),
                                     .isPlain = current_.isPlain,
                                     .alias = nullptr});
        if (isStart()) ++recording->openCollections;
        if (is(Kind::sequenceEnd) || is(Kind::mappingEnd)) --recording->openCollections;
        recording->complete = recording->openCollections == 0;
    }
    std::erase_if(recording_, [](const auto& recording) { return recording->complete; });
}

void YamlReader::startReplay(std::shared_ptr<const Recording> recording) {
    replays_.push_back({std::move(recording), 0});
    takeReplayed();
}

void YamlReader::takeReplayed() {
    if (++replayed_ > limits_.replayedEvents) return breakOff("the aliases repeat too much");
    Replay& replay = replays_.back();
    const RecordedEvent& event = replay.recording->events[replay.next++];
    if (event.alias) return startReplay(event.alias);
    current_ = {.kind = event.kind, .text = event.text, .tag = event.tag, .isPlain = event.isPlain};
    countDepth();
}

bool YamlReader::isStart() const {
    return is(YamlEvent::Kind::sequenceStart) || is(YamlEvent::Kind::mappingStart);
}

void YamlReader::countDepth() {
    using Kind = YamlEvent::Kind;
    ++position_;
    if (isStart()) {
        if (++depth_ > limits_.depth) breakOff("collections are nested too deep");
    } else if (is(Kind::sequenceEnd) || is(Kind::mappingEnd)) {
        --depth_;
    }
}

void YamlReader::skipValue() {
    using Kind = YamlEvent::Kind;
    if (is(Kind::sequenceStart)) {
        advance();
        while (ok() && !is(Kind::sequenceEnd)) skipValue();
    } else if (is(Kind::mappingStart)) {
        advance();
        std::set<std::string, std::less<>> keys;
        while (ok() && !is(Kind::mappingEnd)) {
            if (is(Kind::scalar) && !keys.emplace(current_.text).second) fail("a key is given twice");
            skipValue();
            skipValue();
        }
    } else if (!is(Kind::scalar)) {
        return fail("a value is missing");
    }
    advance();
}

void YamlReader::breakOff(std::string_view reason) {
    isBroken_ = true;
    fail(reason);
}

void YamlReader::fail(std::string_view reason) {
    if (failure_.empty()) {
        failedAt_ = current_;
        // A scanner's problem has a mark of its own; elsewhere the event's start tells the line.
        const bool parserFailed = parser_.error != YAML_NO_ERROR;
        const std::size_t line = parserFailed ? parser_.problem_mark.line : event_.start_mark.line;
        failure_ = fmt::format("Line {}: {}", firstLine_ + line, reason);
    }
    current_ = {};
}

YamlReader::Mark YamlReader::mark() const {
    return {.position = position_, .depthAround = depth_ - (isStart() ? 1 : 0), .isCollection = isStart()};
}

bool YamlReader::passOver(const Mark& value, std::string_view name) {
    using Kind = YamlEvent::Kind;
    if (!isSalvaging() || isBroken_) return false;
    noteLoss(fmt::format("{} ({})", failure_, name));
    failure_.clear();
    current_ = failedAt_;
    if (!value.isCollection) {
        if (position_ == value.position) advance();
        return ok();
    }
    while (ok() && depth_ > value.depthAround) advance();
    if (is(Kind::sequenceEnd) || is(Kind::mappingEnd)) advance();
    return ok();
}

void YamlReader::noteLoss(std::string loss) {
    if (++lossCount_ <= mostLossesTold) losses_.push_back(std::move(loss));
}

}  // namespace kelvaris
