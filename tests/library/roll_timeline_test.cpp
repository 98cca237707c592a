#include "library/roll_timeline.h"

#include <gmock/gmock.h>

#include "library_world.h"

namespace kelvaris {
namespace {

using ::testing::HasSubstr;

class RollTimelineTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    static constexpr const char* twoPlaces =
        R"({"locations": [{"timestampMs": "1773476200000", "latitudeE7": 350000000, "longitudeE7": 1350000000},
                          {"timestampMs": "1773389800000", "latitudeE7": 340000000, "longitudeE7": 1340000000}]})";
};

TEST_F(RollTimelineTest, TheChosenHistoryReachesTheRollSorted) {
    const auto roll = makeRoll(0);
    machine.files.addFile(Path("/home/user/Records.json"), twoPlaces);
    machine.shell.choices.push_back({Path("/home/user/Records.json")});
    loadTimeline(*roll);
    machine.main.drain();
    EXPECT_EQ(roll->statusNotification(), StatusNotification::locationsLoading());
    machine.settle();
    ASSERT_EQ(roll->locationService().records().size(), 2u);
    EXPECT_EQ(roll->locationService().records()[0].latitude, 34.0);
    EXPECT_EQ(roll->statusNotification()->message(), "2 locations loaded (13 Mar 2026 to 14 Mar 2026)");
    EXPECT_EQ(machine.shell.pickers[0].message, "Select Google Takeout Records.json");

    roll->setStatusNotification(std::nullopt);
    loadTimeline(*roll);  // cancelled by the user
    machine.settle();
    EXPECT_EQ(roll->statusNotification(), std::nullopt);
}

TEST_F(RollTimelineTest, AHistoryThatCannotBeReadKeepsTheOldRecords) {
    const auto roll = makeRoll(0);
    roll->locationService().setRecords({{Instant(), 1.0, 2.0}});
    machine.files.addFile(Path("/a.json"), "{}");
    machine.files.addFile(Path("/b.json"), R"({"locations": []})");
    const std::pair<const char*, const char*> cases[] = {
        {"/a.json", "Takeout error: Not a valid Google Takeout location history file"},
        {"/b.json", "Takeout error: No location data found"},
        {"/gone.json", "Takeout error: "},
    };
    for (const auto& [file, message] : cases) {
        std::optional<bool> taken;
        loadTimeline(*roll, Path(file), [&](bool result) { taken = result; });
        machine.settle();
        EXPECT_EQ(taken, false);
        EXPECT_THAT(roll->statusNotification()->message(), HasSubstr(message));
        EXPECT_EQ(roll->locationService().records().size(), 1u);
    }
}

}  // namespace
}  // namespace kelvaris
