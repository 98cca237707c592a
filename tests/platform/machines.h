#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform_fake/fake_machine.h"
#include "platform_linux/icu_language.h"
#include "platform_linux/json_defaults.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/linux_folder_access.h"
#include "temporary_folder.h"

namespace kelvaris {

/// One machine to hold to the contracts: the fake one, or this one in a folder of its own.
struct MachineUnderTest {
    virtual ~MachineUnderTest() = default;
    virtual Files& files() = 0;
    virtual FolderAccess& folders() = 0;
    /// Defaults as a program finds them that starts now.
    virtual std::unique_ptr<Defaults> openDefaults() = 0;
    virtual Path root() const = 0;
    virtual void makeLink(const Path& path, const Path& target) = 0;
};

struct FakeMachineUnderTest final : MachineUnderTest {
    /// Hands its values on to the next one, as a file does.
    struct KeptDefaults final : Defaults {
        explicit KeptDefaults(FakeDefaults& kept) : kept(kept) {}
        std::optional<std::string> string(std::string_view key) const override { return kept.string(key); }
        std::optional<bool> boolean(std::string_view key) const override { return kept.boolean(key); }
        std::optional<double> number(std::string_view key) const override { return kept.number(key); }
        void setString(std::string_view key, std::string_view value) override { kept.setString(key, value); }
        void setBoolean(std::string_view key, bool value) override { kept.setBoolean(key, value); }
        void setNumber(std::string_view key, double value) override { kept.setNumber(key, value); }
        void remove(std::string_view key) override { kept.remove(key); }
        void removeAll() override { kept.removeAll(); }
        FakeDefaults& kept;
    };

    Files& files() override { return machine.files; }
    FolderAccess& folders() override { return machine.folders; }
    std::unique_ptr<Defaults> openDefaults() override {
        return std::make_unique<KeptDefaults>(machine.defaults);
    }
    Path root() const override { return machine.places.home; }
    void makeLink(const Path& path, const Path& target) override { machine.files.addLink(path, target); }

    FakeMachine machine;
};

struct LinuxMachineUnderTest final : MachineUnderTest {
    Files& files() override { return linuxFiles; }
    FolderAccess& folders() override { return linuxFolders; }
    std::unique_ptr<Defaults> openDefaults() override {
        return std::make_unique<JsonDefaults>(linuxFiles, root() / "config/defaults.json");
    }
    Path root() const override { return folder.path(); }
    void makeLink(const Path& path, const Path& target) override {
        std::filesystem::create_symlink(target.string(), path.string());
    }

    testing::TemporaryFolder folder;
    LinuxFiles linuxFiles;
    LinuxFolderAccess linuxFolders{linuxFiles};
};

/// Runs a contract on both.
class MachineContract : public ::testing::TestWithParam<const char*> {
protected:
    MachineContract()
        : machine(std::string(GetParam()) == "fake"
                      ? std::unique_ptr<MachineUnderTest>(std::make_unique<FakeMachineUnderTest>())
                      : std::make_unique<LinuxMachineUnderTest>()),
          files(machine->files()),
          root(machine->root()) {}

    void write(const Path& path, std::string_view text) {
        ASSERT_TRUE(files.createDirectories(path.parent()));
        ASSERT_TRUE(files.writeAtomically(path, asBytes(text)));
    }
    std::string text(const Path& path) const {
        const auto bytes = files.read(path);
        return bytes ? std::string(asText(*bytes)) : "<" + bytes.error().message + ">";
    }
    std::vector<std::string> names(const Path& folder, bool skipHidden = true) const {
        std::vector<std::string> result;
        const auto entries = files.list(folder, skipHidden);
        if (!entries) return {"<" + entries.error().message + ">"};
        for (const FolderEntry& entry : *entries) result.push_back(entry.path.filename());
        std::sort(result.begin(), result.end());
        return result;
    }

    std::unique_ptr<MachineUnderTest> machine;
    Files& files;
    Path root;
};

#define INSTANTIATE_CONTRACT(name)                                         \
    INSTANTIATE_TEST_SUITE_P(On, name, ::testing::Values("fake", "linux"), \
                             [](const auto& info) { return std::string(info.param); })

}  // namespace kelvaris
