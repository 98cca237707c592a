#pragma once

#include <memory>
#include <optional>
#include <utility>

namespace kelvaris {

/// An optional value that is never changed once made, so that copies share it: vectors go from a photo
/// to a worker without being copied. Equal when the values are equal.
template <class T>
class SharedValue {
public:
    SharedValue() = default;
    SharedValue(std::nullopt_t) {}
    SharedValue(T value) : value_(std::make_shared<const T>(std::move(value))) {}
    SharedValue(std::optional<T> value) {
        if (value) value_ = std::make_shared<const T>(std::move(*value));
    }

    bool has_value() const { return value_ != nullptr; }
    explicit operator bool() const { return has_value(); }
    const T& operator*() const { return *value_; }
    const T* operator->() const { return value_.get(); }
    void reset() { value_.reset(); }

    std::optional<T> toOptional() const { return value_ ? std::optional<T>(*value_) : std::nullopt; }

    bool operator==(const SharedValue& other) const {
        return value_ == other.value_ || (value_ && other.value_ && *value_ == *other.value_);
    }

private:
    std::shared_ptr<const T> value_;
};

}  // namespace kelvaris
