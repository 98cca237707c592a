#include "metadata/location_tracks.h"

#include <cmath>

#include "base/text.h"
#include "metadata/xml_scanner.h"

namespace kelvaris {

namespace {

using Records = std::vector<LocationRecord>;

std::optional<Coordinate> coordinate(std::string_view latitude, std::string_view longitude) {
    const auto north = parseDouble(trimmed(latitude)), east = parseDouble(trimmed(longitude));
    const bool isOnGlobe = north && east && std::abs(*north) <= 90 && std::abs(*east) <= 180;
    if (!isOnGlobe) return std::nullopt;
    return Coordinate{*north, *east};
}

void add(Records& records, const std::optional<Instant>& when, const std::optional<Coordinate>& where) {
    if (when && where) records.push_back({*when, where->latitude, where->longitude});
}

/// Points (of tracks, routes and alone) with their time inside.
class GpxReader {
public:
    explicit GpxReader(Records& records) : records_(records) {}

    void start(const XmlScanner& scanner) {
        if (!isPoint(scanner.name())) return;
        where_ = coordinate(scanner.attribute("lat"), scanner.attribute("lon"));
        when_.reset();
    }
    void end(const XmlScanner& scanner) {
        if (scanner.name() == "time") when_ = parseTimestamp(scanner.text());
        if (!isPoint(scanner.name())) return;
        add(records_, when_, where_);
        where_.reset();
    }

private:
    static bool isPoint(std::string_view name) { return name == "trkpt" || name == "rtept" || name == "wpt"; }
    Records& records_;
    std::optional<Instant> when_;
    std::optional<Coordinate> where_;
};

/// Tracks list all their times and all their places, the n-th of one belonging to the n-th of the other.
class KmlReader {
public:
    explicit KmlReader(Records& records) : records_(records) {}

    void start(const XmlScanner& scanner) {
        if (scanner.name() == "Track") {
            isInTrack_ = true;
            times_.clear();
            places_.clear();
        } else if (scanner.name() == "Placemark") {
            when_.reset();
            until_.reset();
            where_.reset();
        } else if (scanner.name() == "Point") {
            isInPoint_ = true;
        }
    }
    void end(const XmlScanner& scanner) {
        const std::string_view name = scanner.name();
        if (name == "when" && isInTrack_) {
            times_.push_back(parseTimestamp(scanner.text()));
        } else if (name == "coord" && isInTrack_) {
            places_.push_back(place(scanner.text(), ' '));
        } else if (name == "Track") {
            isInTrack_ = false;
            for (std::size_t index = 0; index < std::min(times_.size(), places_.size()); ++index) {
                add(records_, times_[index], places_[index]);
            }
        } else if (name == "when" || name == "begin") {
            when_ = parseTimestamp(scanner.text());
        } else if (name == "end") {
            until_ = parseTimestamp(scanner.text());
        } else if (name == "coordinates" && isInPoint_) {
            where_ = place(scanner.text(), ',');
        } else if (name == "Point") {
            isInPoint_ = false;
        } else if (name == "Placemark") {
            add(records_, when_, where_);
            add(records_, until_, where_);
        }
    }

private:
    /// Longitude first, and perhaps an altitude last.
    static std::optional<Coordinate> place(std::string_view text, char separator) {
        const auto parts = split(text, separator);
        return parts.size() < 2 ? std::nullopt : coordinate(parts[1], parts[0]);
    }
    Records& records_;
    bool isInTrack_ = false, isInPoint_ = false;
    std::vector<std::optional<Instant>> times_;
    std::vector<std::optional<Coordinate>> places_;
    std::optional<Instant> when_, until_;
    std::optional<Coordinate> where_;
};

template <class Reader>
bool readAll(XmlScanner& scanner, Reader reader) {
    while (true) {
        switch (scanner.next()) {
            case XmlScanner::Token::start:
                reader.start(scanner);
                break;
            case XmlScanner::Token::end:
                reader.end(scanner);
                break;
            case XmlScanner::Token::done:
                return true;
            case XmlScanner::Token::malformed:
                return false;
        }
    }
}

}  // namespace

std::optional<std::vector<LocationRecord>> readLocationTracks(std::string_view text) {
    XmlScanner scanner(text);
    if (scanner.next() != XmlScanner::Token::start) return std::nullopt;
    Records records;
    const bool isWhole = scanner.name() == "gpx"   ? readAll(scanner, GpxReader(records))
                         : scanner.name() == "kml" ? readAll(scanner, KmlReader(records))
                                                   : false;
    if (!isWhole) return std::nullopt;
    return records;
}

}  // namespace kelvaris
