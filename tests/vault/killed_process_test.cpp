#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_operation_queue.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/linux_folder_access.h"
#include "random_records.h"
#include "temporary_folder.h"
#include "vault/mirror.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"
#include "vault/verification.h"

namespace kelvaris {
namespace {

constexpr int rollCount = 4;
/// Deaths in a run; KELVARIS_KILLS asks for more.
int killCount() {
    const char* wanted = std::getenv("KELVARIS_KILLS");
    return wanted ? std::atoi(wanted) : 25;
}

/// A vault with its mirror on the real disk, written by a process that is killed without warning.
class Victim {
public:
    explicit Victim(const Path& folder)
        : disk_(folder / "disk"),
          store_(files_, clock_.wall(), VaultPaths::under(folder / "data", folder / "cache/thumbnails")),
          mirror_(store_, files_, folders_, language_, clock_.wall(), queues_, state_) {
        store_.ensureDirectoriesExist();
        (void)files_.createDirectories(disk_);
        for (int i = 0; i < rollCount; ++i) {
            rolls_.push_back(testing::RandomRecords(static_cast<std::uint64_t>(i)).manifest(6));
            rolls_.back().id = fmt::format("0A1B2C3D-0000-4000-8000-00000000000{}", i);
        }
    }

    const Path& disk() const { return disk_; }
    const VaultStore& store() const { return store_; }
    VaultReport report() const { return verifyVault(files_, store_.paths(), disk_); }

    /// Edits, saves, mirrors and restores without end; tells the pipe after each save which number stands.
    [[noreturn]] void work(int pipe, std::array<int, rollCount> numbers, unsigned seed) {
        std::mt19937 random(seed);
        // The last death may have left the mirror behind; a restore must not bring the past back.
        for (auto& roll : store_.loadAllManifests()) mirror_.writeMirror(std::move(roll), disk_);
        for (;;) {
            const std::size_t i = random() % rollCount;
            VaultRollManifest& roll = rolls_[i];
            roll.filmISO = ++numbers[i];
            const RollID id = *RollID::parse(roll.id);
            const auto bytes = encodedRollFile(roll, language_);
            if (!store_.replaceWithBackups(store_.paths().rollFile(id), *bytes, {}).isSaved()) _exit(1);
            store_.writeEmbeddings(id, {{roll.photos[0].filename, {std::vector<float>(2000, 1.0f), {}}}});
            mirror_.writeMirror(roll, disk_);
            const int said[2] = {static_cast<int>(i), numbers[i]};
            if (write(pipe, said, sizeof said) != sizeof said) _exit(1);
            if (random() % 8 == 0 && mirror_.restoreFromMirror(disk_, true).hasFailed()) _exit(1);
        }
    }

private:
    const Path disk_;
    LinuxFiles files_;
    LinuxFolderAccess folders_{files_};
    const FakeLanguage language_;
    const FakeClock clock_;
    FakeOperationQueueFactory queues_;
    MirrorState state_;
    VaultStore store_;
    VaultMirror mirror_;
    std::vector<VaultRollManifest> rolls_;
};

TEST(KilledProcess, LosesAndTearsNothingThatWasSaved) {
    const testing::TemporaryFolder folder;
    Victim victim(folder.path());
    std::array<int, rollCount> saved{};
    std::mt19937 random(11);
    for (int kill = 0; kill < killCount(); ++kill) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) victim.work(ends[1], saved, random());
        close(ends[1]);
        int said[2] = {0, 0};
        for (int saves = 0; saves <= kill % 3; ++saves) {  // until it is surely at work
            ASSERT_EQ(read(ends[0], said, sizeof said), sizeof said) << "the victim gave up by itself";
            saved[static_cast<std::size_t>(said[0])] = said[1];
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        while (read(ends[0], said, sizeof said) == sizeof said)
            saved[static_cast<std::size_t>(said[0])] = said[1];
        close(ends[0]);

        for (const RollCheck& check : victim.report().rolls) {
            ASSERT_EQ(check.file.state, FileCheck::State::intact) << check.file.reason;
            ASSERT_NE(check.sidecar, RollCheck::Sidecar::unusable);
            ASSERT_TRUE(check.mirror == RollCheck::Mirror::agrees ||
                        check.mirror == RollCheck::Mirror::differs ||
                        check.mirror == RollCheck::Mirror::absent);
        }
        for (const VaultRollManifest& roll : victim.store().loadAllManifests()) {
            int& number = saved[static_cast<std::size_t>(roll.id.back() - '0')];
            ASSERT_GE(roll.filmISO.value_or(0), number);
            number = *roll.filmISO;
        }
    }
    EXPECT_GE(saved[0] + saved[1] + saved[2] + saved[3], killCount());
}

}  // namespace
}  // namespace kelvaris
