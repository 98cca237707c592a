#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/defaults.h"
#include "vocabulary/json_record.h"

namespace kelvaris {

/// The user's favourites of one kind of gear in the user defaults, with the one that new rolls start
/// with. The list stands as JSON text; text that does not decode is an empty list. Main thread.
template <class Item>
class FavoriteGearList {
public:
    FavoriteGearList(Defaults& defaults, std::string_view listKey, std::string_view defaultKey)
        : defaults_(defaults),
          listKey_(listKey),
          defaultKey_(defaultKey),
          defaultId_(defaults.string(defaultKey)) {}

    std::vector<Item> items() const {
        const auto text = defaults_.string(listKey_);
        if (!text) return {};
        return decodedJson<std::vector<Item>>(*text).value_or(std::vector<Item>());
    }

    /// A default that is no longer in the list becomes none.
    void setItems(const std::vector<Item>& items) {
        defaults_.setString(
            listKey_, encodedJson(items).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
        if (defaultId_ && !find(items, *defaultId_)) setDefaultId(std::nullopt);
    }

    /// Without a default, the first of the list becomes it. @return false when the item is there already.
    bool add(const Item& item) {
        auto all = items();
        if (std::find(all.begin(), all.end(), item) != all.end()) return false;
        all.push_back(item);
        setItems(all);
        if (!defaultId_) setDefaultId(all.front().id());
        return true;
    }

    /// Takes out every item of that id; when it was the default, the first that remains becomes it.
    void remove(std::string_view id) {
        const bool wasDefault = defaultId_ == id;
        auto all = items();
        std::erase_if(all, [id](const Item& item) { return item.id() == id; });
        setItems(all);
        if (wasDefault) setDefaultId(all.empty() ? std::nullopt : std::optional(all.front().id()));
    }

    const std::optional<std::string>& defaultId() const { return defaultId_; }

    void setDefaultId(std::optional<std::string> id) {
        defaultId_ = std::move(id);
        if (defaultId_) {
            defaults_.setString(defaultKey_, *defaultId_);
        } else {
            defaults_.remove(defaultKey_);
        }
    }

    /// The item of the default id; without a default id, the only item.
    std::optional<Item> defaultItem() const {
        const auto all = items();
        if (defaultId_) return find(all, *defaultId_);
        if (all.size() == 1) return all.front();
        return std::nullopt;
    }

private:
    static std::optional<Item> find(const std::vector<Item>& items, std::string_view id) {
        const auto place =
            std::find_if(items.begin(), items.end(), [id](const Item& item) { return item.id() == id; });
        if (place == items.end()) return std::nullopt;
        return *place;
    }

    Defaults& defaults_;
    std::string_view listKey_;
    std::string_view defaultKey_;
    std::optional<std::string> defaultId_;
};

}  // namespace kelvaris
