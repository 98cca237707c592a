#include "base/observable.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace kelvaris {
namespace {

class Frame : public Observable<char> {
public:
    void setName(std::string name) { assign('n', name_, std::move(name)); }

private:
    std::string name_;
};

TEST(ObservableTest, OnlyRealChangesAreTold) {
    Frame frame;
    std::string heard;
    const Subscription subscription = frame.observe([&](char field) { heard += field; });
    frame.setName("a");
    frame.setName("a");
    frame.setName("b");
    EXPECT_EQ(heard, "nn");
}

TEST(ObservableTest, ObserversMayLeaveWhileTheyAreTold) {
    Frame frame;
    int first = 0;
    int second = 0;
    Subscription leaving;
    leaving = frame.observe([&](char) {
        ++first;
        leaving.disconnect();
    });
    const Subscription staying = frame.observe([&](char) { ++second; });
    frame.setName("a");
    frame.setName("b");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

TEST(ObservableTest, ASubscriptionMayOutliveWhatItObserves) {
    auto frame = std::make_unique<Frame>();
    Subscription subscription = frame->observe([](char) {});
    frame.reset();
    subscription.disconnect();
}

}  // namespace
}  // namespace kelvaris
