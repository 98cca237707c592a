#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace kelvaris {

/// Keeps an observer connected for as long as it lives. Main thread only. May outlive what it observes.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> disconnect) : disconnect_(std::move(disconnect)) {}
    Subscription(Subscription&& other) noexcept : disconnect_(std::exchange(other.disconnect_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            disconnect();
            disconnect_ = std::exchange(other.disconnect_, nullptr);
        }
        return *this;
    }
    ~Subscription() { disconnect(); }

    void disconnect() {
        if (const auto action = std::exchange(disconnect_, nullptr)) action();
    }

private:
    std::function<void()> disconnect_;
};

/// Base of an object whose fields are watched. Field is the object's own enumeration of its fields.
/// Main thread only. One observer list per object, made at the first observer: a library holds half a
/// million photos of which almost none is watched.
template <class Field>
class Observable {
public:
    using Observer = std::function<void(Field)>;

    Observable() = default;
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    /// Calls the observer after each change of a field. Observers may connect and disconnect meanwhile.
    Subscription observe(Observer observer) {
        if (!observers_) observers_ = std::make_shared<List>();
        const std::uint64_t key = observers_->nextKey++;
        observers_->entries.push_back({key, std::make_shared<Observer>(std::move(observer))});
        return Subscription([weak = std::weak_ptr<List>(observers_), key] {
            if (const auto list = weak.lock()) {
                std::erase_if(list->entries, [key](const Entry& entry) { return entry.key == key; });
            }
        });
    }

protected:
    ~Observable() = default;

    /// Writes the member and tells the observers; an equal value changes nothing and tells nobody.
    /// @return whether the value changed.
    template <class T, class U>
    bool assign(Field field, T& member, U&& value) {
        if (member == value) return false;
        member = std::forward<U>(value);
        notify(field);
        return true;
    }

    void notify(Field field) {
        if (!observers_) return;
        const auto entries = observers_->entries;  // observers may change the list while it is walked
        for (const Entry& entry : entries) (*entry.observer)(field);
    }

private:
    struct Entry {
        std::uint64_t key;
        std::shared_ptr<Observer> observer;
    };
    struct List {
        std::vector<Entry> entries;
        std::uint64_t nextKey = 1;
    };
    std::shared_ptr<List> observers_;
};

}  // namespace kelvaris
