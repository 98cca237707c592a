#pragma once

#include <yaml.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "vault/yaml_limits.h"

namespace kelvaris {

/// A part of a YAML document as a reader meets it. The views live until the reader moves on.
struct YamlEvent {
    enum class Kind { end, scalar, sequenceStart, sequenceEnd, mappingStart, mappingEnd };
    Kind kind = Kind::end;
    std::string_view text;  ///< of a scalar
    std::string_view tag;   ///< explicit tag; empty when there is none
    bool isPlain = false;   ///< a scalar without quotes
};

/// Walks the events of one YAML 1.1 document, with aliases replaced by what they stand for, within limits.
/// After a failure the current event stays Kind::end. Any thread, one document per reader.
///
/// A salvaging reader passes over a value that failed, as long as the text is YAML; a strict one never does.
class YamlReader {
public:
    enum class Mode { strict, salvaging };

    /// Where a value begins.
    struct Mark {
        std::size_t position = 0;
        std::size_t depthAround = 0;
        bool isCollection = false;
    };
    /// Reasons that are kept of what was passed over; the rest is only counted.
    static constexpr std::size_t mostLossesTold = 20;

    /// @param text must outlive the reader.
    /// @param firstLine the number of its first line in the file that it is part of, for failures.
    explicit YamlReader(std::string_view text, std::size_t firstLine = 1, Mode mode = Mode::strict,
                        YamlLimits limits = {});
    ~YamlReader();
    YamlReader(const YamlReader&) = delete;
    YamlReader& operator=(const YamlReader&) = delete;

    const YamlEvent& current() const { return current_; }
    bool is(YamlEvent::Kind kind) const { return current_.kind == kind; }
    void advance();

    /// Walks over the value that begins here, whatever it is; keys given twice in it are a failure.
    void skipValue();

    bool ok() const { return failure_.empty(); }
    /// Ends the reading. The first reason stays, with the line where it arose.
    void fail(std::string_view reason);
    /// "Line 12: ..."; empty while all is well.
    const std::string& failure() const { return failure_; }

    bool isSalvaging() const { return mode_ == Mode::salvaging; }
    /// Of the value that begins at the current event.
    Mark mark() const;
    /// After a failure within the value: notes the reason, and stands behind the value.
    /// @param name of the value, for a person.
    /// @return false when the failure stands: the reader is strict, or the text is broken.
    bool passOver(const Mark& value, std::string_view name);
    /// Notes something that the document lacks, without a failure.
    void noteLoss(std::string loss);
    /// What was passed over, each with its line.
    const std::vector<std::string>& losses() const { return losses_; }
    std::size_t lossCount() const { return lossCount_; }

private:
    struct Recording;
    struct RecordedEvent;
    struct Replay {
        std::shared_ptr<const Recording> recording;
        std::size_t next = 0;
    };

    void breakOff(std::string_view reason);
    bool isStart() const;
    bool parseNext();
    void takeParsed();
    void startReplay(std::shared_ptr<const Recording> recording);
    void takeReplayed();
    void record();
    void countDepth();

    const std::size_t firstLine_;
    const Mode mode_;
    const YamlLimits limits_;
    yaml_parser_t parser_;
    yaml_event_t event_{};
    bool holdsEvent_ = false;
    YamlEvent current_;
    YamlEvent failedAt_;
    std::string failure_;
    bool isBroken_ = false;  ///< by the text itself, so that nothing behind can be trusted
    std::vector<std::string> losses_;
    std::size_t lossCount_ = 0;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    std::size_t replayed_ = 0;
    std::size_t recordedBytes_ = 0;
    std::map<std::string, std::shared_ptr<Recording>, std::less<>> anchors_;
    std::vector<std::shared_ptr<Recording>> recording_;  ///< the anchored values that are being read
    std::vector<Replay> replays_;
};

}  // namespace kelvaris
