#include <gmock/gmock.h>

#include <fstream>

#include "log_capture.h"
#include "machines.h"
#include "platform_linux/console_shell.h"
#include "platform_linux/linux_places.h"
#include "platform_linux/log_sink.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;

TEST(JsonDefaults, ADamagedFileIsKeptAsideAndAnUnreadableOneLeftAlone) {
    FakeMachine machine;
    testing::LogCapture log;
    const Path path("/home/user/.config/Kelvaris/defaults.json");
    for (const char* damage : {"{\"a\": ", "[1]", "", "\xFF\xFE"}) {
        machine.files.addFile(path, damage);
        JsonDefaults defaults(machine.files, path);
        EXPECT_FALSE(defaults.string("a"));
        EXPECT_EQ(machine.files.contents(Path(path.string() + ".damaged")), damage);
        defaults.setString("a", "b");
        EXPECT_EQ(JsonDefaults(machine.files, path).string("a"), "b");
    }
    EXPECT_EQ(log.errors().size(), 4u);

    const auto before = machine.files.contents(path);
    machine.files.setUnreadable(path);
    JsonDefaults defaults(machine.files, path);
    defaults.setString("a", "c");
    EXPECT_EQ(defaults.string("a"), "c");
    EXPECT_EQ(machine.files.contents(path), before);
}

TEST(JsonDefaults, AFailedSaveIsLoggedAndTheValueHolds) {
    FakeMachine machine;
    testing::LogCapture log;
    JsonDefaults defaults(machine.files, Path("/home/user/.config/Kelvaris/defaults.json"));
    machine.files.setFreeSpace(0);
    defaults.setBoolean("on", true);
    EXPECT_EQ(defaults.boolean("on"), true);
    EXPECT_TRUE(log.contains("No space left on device"));
}

TEST(LinuxPlaces, FoldersComeFromTheEnvironmentOrTheRoot) {
    std::map<std::string, std::string> variables{{"HOME", "/home/ute"},
                                                 {"XDG_CACHE_HOME", "relative"},
                                                 {"XDG_STATE_HOME", "/var/ute"},
                                                 {"TMPDIR", "/scratch/"}};
    PlacesOptions options;
    options.environment = [&](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
    Places places = linuxPlaces(options);
    EXPECT_EQ(places.data.string(), "/home/ute/.local/share/Kelvaris");
    EXPECT_EQ(places.caches.string(), "/home/ute/.cache/Kelvaris");
    EXPECT_EQ(places.config.string(), "/home/ute/.config/Kelvaris");
    EXPECT_EQ(places.state.string(), "/var/ute/Kelvaris");
    EXPECT_EQ(places.temporary.string(), "/scratch");
    options.isDevelopment = true;
    EXPECT_EQ(linuxPlaces(options).data.string(), "/home/ute/.local/share/Kelvaris-dev");
    options.root = Path("/media/library/../archive");
    places = linuxPlaces(options);
    EXPECT_EQ(places.data.string(), "/media/archive");
    EXPECT_EQ(places.config.string(), "/media/archive/config");
    EXPECT_EQ(places.home.string(), "/home/ute");
}

TEST(LinuxPlaces, ALibraryLastsOnlyWhereAHomeOrItsFoldersAreKnown) {
    std::map<std::string, std::string> variables;
    std::optional<Path> registered;
    PlacesOptions options;
    options.environment = [&](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
    options.registeredHome = [&] { return registered; };
    EXPECT_FALSE(linuxPlaces(options).isLasting);
    EXPECT_EQ(linuxPlaces(options).data.string(), "/tmp/.local/share/Kelvaris");
    variables["XDG_DATA_HOME"] = "/srv/data";
    EXPECT_FALSE(linuxPlaces(options).isLasting) << "the preferences would not last";
    variables["XDG_CONFIG_HOME"] = "/srv/config";
    EXPECT_TRUE(linuxPlaces(options).isLasting);
    variables.clear();
    registered = Path("/home/ute");
    EXPECT_TRUE(linuxPlaces(options).isLasting);
    EXPECT_EQ(linuxPlaces(options).home.string(), "/home/ute");
    registered.reset();
    options.root = Path("/media/library");
    EXPECT_TRUE(linuxPlaces(options).isLasting);
}

TEST(IcuLanguage, NamesOrderAsAPersonReadsThem) {
    const IcuLanguage icu("en_US", "UTC");
    const FakeLanguage fake;
    const Language* const languages[] = {&icu, &fake};
    const std::vector<std::string> ordered = {"IMG_2.jpg",   "IMG_09.jpg",   "IMG_9.jpg",   "img_10.jpg",
                                              "img_10b.jpg", "roll 2 of 10", "roll 10 of 2"};
    for (const Language* language : languages) {
        for (std::size_t i = 0; i + 1 < ordered.size(); ++i) {
            EXPECT_LT(language->compareNaturally(ordered[i], ordered[i + 1]), 0) << ordered[i];
            EXPECT_GT(language->compareNaturally(ordered[i + 1], ordered[i]), 0) << ordered[i];
            EXPECT_LT(language->naturalSortKey(ordered[i]), language->naturalSortKey(ordered[i + 1]))
                << ordered[i];
        }
        EXPECT_EQ(language->compareNaturally("same", "same"), 0);
    }
    EXPECT_LT(icu.compareNaturally("Ätna", "Zebra"), 0);
    const std::string decomposed = "cafe\xCC\x81";
    EXPECT_EQ(icu.composed(decomposed), "café");
    EXPECT_NE(icu.compareNaturally(decomposed, "café"), 0) << "equal to the eye, told apart by bytes";
    EXPECT_EQ(icu.lowercased("ÀÉ İ Straße"), "àé i̇ straße");
}

TEST(IcuLanguage, LocalTimesAreReadThroughTheChangesOfTheClock) {
    const IcuLanguage berlin("de_DE", "Europe/Berlin");
    const auto utc = [](CivilTime reading) { return instantFromUtc(reading); };
    EXPECT_EQ(berlin.fromLocalTime({2026, 7, 1, 12, 0, 0}), utc({2026, 7, 1, 10, 0, 0}));
    EXPECT_EQ(berlin.fromLocalTime({2026, 3, 29, 2, 30, 0}), utc({2026, 3, 29, 1, 30, 0})) << "skipped";
    EXPECT_EQ(berlin.fromLocalTime({2026, 10, 25, 2, 30, 0}), utc({2026, 10, 25, 0, 30, 0})) << "comes twice";
    EXPECT_EQ(berlin.fromLocalTime({2026, 2, 30, 0, 0, 0}), std::nullopt);
    EXPECT_EQ(berlin.localTime(utc({2026, 12, 31, 23, 30, 0})), (CivilTime{2027, 1, 1, 0, 30, 0}));
    EXPECT_EQ(berlin.localTime(utc({1965, 7, 1, 12, 0, 0}) + std::chrono::milliseconds(1500)),
              (CivilTime{1965, 7, 1, 13, 0, 1}));
    EXPECT_EQ(berlin.mediumDate(utc({2026, 3, 14, 8, 30, 0})), "14.03.2026");
    const IcuLanguage america("en_US", "America/New_York");
    EXPECT_EQ(america.mediumDate(utc({2026, 3, 14, 2, 30, 0})), "Mar 13, 2026");
    EXPECT_THAT(america.mediumDateShortTime(utc({2026, 3, 14, 14, 30, 0})),
                ::testing::StartsWith("Mar 14, 2026, 10:30"));
}

TEST(ConsoleShell, AnswersWhatTheCommandLineGave) {
    FakeMachine machine;
    int ended = 0;
    ConsoleShell shell(machine.main, {.choices = {{Path("/a"), Path("/b")}}, .terminate = [&] { ++ended; }});
    std::vector<Path> chosen;
    std::size_t pressed = 9;
    shell.choose({.choosesFolders = true}, [&](std::vector<Path> paths) { chosen = std::move(paths); });
    EXPECT_TRUE(chosen.empty()) << "answers arrive through the queue";
    shell.ask({"Sure?", "", {"Yes", "No"}}, [&](std::size_t button) { pressed = button; });
    machine.settle();
    EXPECT_THAT(chosen, ElementsAre(Path("/a"))) << "one, where one was asked for";
    EXPECT_EQ(pressed, 1u);
    shell.setAgrees(true);
    shell.ask({"Sure?", "", {"Yes", "No"}}, [&](std::size_t button) { pressed = button; });
    shell.choose({}, [&](std::vector<Path> paths) { chosen = std::move(paths); });
    machine.settle();
    EXPECT_EQ(pressed, 0u);
    EXPECT_TRUE(chosen.empty());
    shell.terminate();
    EXPECT_EQ(ended, 1);
}

TEST(LogSink, LinesReachTheFileAndAMissingFolderCostsOnlyTheFile) {
    testing::TemporaryFolder folder;
    {
        LogSink sink({.folder = folder.path() / "state", .toStandardError = false});
        log::info("Vault", "saved {} rolls {{}}", 3);
    }
    std::ifstream file((folder.path() / "state/kelvaris.log").string());
    const std::string text(std::istreambuf_iterator<char>(file), {});
    EXPECT_THAT(text, ::testing::HasSubstr("info Vault: saved 3 rolls {}\n"));
    std::ofstream((folder.path() / "file").string()) << "in the way";
    LogSink sink({.folder = folder.path() / "file", .toStandardError = false});
    log::info("Vault", "still here");
}

}  // namespace
}  // namespace kelvaris
