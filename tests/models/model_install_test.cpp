#include <gmock/gmock.h>

#include "archive_builder.h"
#include "log_capture.h"
#include "models/model_install.h"
#include "models/model_registry.h"
#include "platform_fake/fake_machine.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using testing::gzipOf;
using ::testing::IsEmpty;
using testing::modelEntries;
using testing::tarOf;
using Code = DownloadError::Code;

struct ModelInstallTest : ::testing::Test {
    ModelInstallTest() {
        machine.files.addFile(archive, asText(gzipOf(tarOf(modelEntries(ModelID::clipVitB16, "new")))));
    }
    void installOld() {
        for (const auto& entry : modelEntries(ModelID::clipVitB16, "old")) {
            if (entry.type == '0') machine.files.addFile(models / entry.name, entry.data);
        }
    }
    DownloadResult<std::vector<ModelID>> install() {
        const ModelID wanted[] = {ModelID::clipVitB16};
        return installer.install(archive, wanted, cancelled);
    }
    /// "old" or "new" when the install is whole and of one piece, else what is wrong with it.
    std::string standing() const {
        const Path folder = models / "clip-vit-b16-dfn";
        const auto image = machine.files.contents(folder / "CLIPImageEncoder.mlmodelc/model.onnx");
        const auto text = machine.files.contents(folder / "CLIPTextEncoder.mlmodelc/model.onnx");
        return image && image == text ? *image : "a mixture";
    }

    FakeMachine machine;
    const Path models{"/home/user/.local/share/Kelvaris/models"};
    const Path archive{"/home/user/clip.tar.gz"};
    ModelInstaller installer{machine.files, machine.compression, models};
    std::atomic<bool> cancelled{false};
};

TEST_F(ModelInstallTest, AnEarlierInstallStaysWholeWhateverStepFails) {
    installOld();
    std::size_t step = 1;
    for (;; ++step) {
        machine.files.failAtStep(step, FileError::Code::noSpace);
        const auto result = install();
        if (result) break;
        EXPECT_EQ(result.error().code, Code::insufficientSpace) << step;
        EXPECT_EQ(standing(), "old") << step;
        EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty()) << step;
    }
    EXPECT_GT(step, 10u);
    EXPECT_EQ(standing(), "new");
}

TEST_F(ModelInstallTest, ACrashLeavesTheOldOrTheNewInstall) {
    bool sawNew = false;
    for (std::size_t step = 1; !sawNew; ++step) {
        installOld();
        machine.files.crashAtStep(step);
        EXPECT_FALSE(step < 5 && install());
        static_cast<void>(install());
        machine.files.restart();
        EXPECT_THAT(standing(), ::testing::AnyOf("old", "new")) << step;
        sawNew = standing() == "new";
        ASSERT_LT(step, 100u);
    }
}

TEST_F(ModelInstallTest, AnArchiveWithoutTheModelIsRefused) {
    installOld();
    auto entries = modelEntries(ModelID::clipVitB16, "new");
    entries.pop_back();
    machine.files.addFile(archive, asText(gzipOf(tarOf(entries))));
    EXPECT_EQ(install().error().code, Code::verificationFailed) << "one encoder of two";
    machine.files.addFile(archive, asText(gzipOf(tarOf(modelEntries(ModelID::nima, "new")))));
    EXPECT_EQ(install().error().code, Code::verificationFailed) << "another model";
    machine.files.addFile(archive, "no archive");
    EXPECT_EQ(install().error().code, Code::invalidArchive);
    machine.files.erase(archive);
    EXPECT_EQ(install().error().code, Code::extractionFailed);
    EXPECT_EQ(standing(), "old");
}

TEST_F(ModelInstallTest, EveryWantedModelThatIsCompleteIsInstalled) {
    auto entries = modelEntries(ModelID::nima, "n");
    for (const auto& entry : modelEntries(ModelID::faceNet, "f")) entries.push_back(entry);
    entries.push_back({.name = "places365/readme", .data = "incomplete"});
    machine.files.addFile(archive, asText(gzipOf(tarOf(entries))));
    const ModelID all[] = {ModelID::clipVitB16, ModelID::nima, ModelID::places365, ModelID::faceNet};
    EXPECT_THAT(*installer.install(archive, all, cancelled), ElementsAre(ModelID::nima, ModelID::faceNet));
    EXPECT_FALSE(machine.files.exists(models / "places365"));
}

TEST_F(ModelInstallTest, ACancelledInstallLeavesNothing) {
    installOld();
    cancelled = true;
    EXPECT_EQ(install().error().code, Code::cancelled);
    EXPECT_EQ(standing(), "old");
    EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty());
}

struct ModelRegistryTest : ::testing::Test {
    ModelRegistryService make() { return ModelRegistryService(machine.files, machine.clock.wall(), models); }
    void addFiles(ModelID id) {
        for (const auto& entry : modelEntries(id, "12345")) {
            if (entry.type == '0') machine.files.addFile(models / entry.name, entry.data);
        }
    }
    FakeMachine machine;
    testing::LogCapture log;
    const Path models = modelsDirectory(machine.places);
};

TEST_F(ModelRegistryTest, FilesAloneTellWhetherAModelIsThere) {
    auto registry = make();
    EXPECT_TRUE(machine.files.isDirectory(models));
    registry.registerModel(ModelID::clipVitB16, 3);
    EXPECT_TRUE(log.contains("Cannot register clip-vit-b16-dfn: files not found"));
    addFiles(ModelID::clipVitB16);
    EXPECT_TRUE(registry.isAvailable(ModelID::clipVitB16));
    EXPECT_FALSE(registry.installedVersion(ModelID::clipVitB16));
    registry.registerModel(ModelID::clipVitB16, 3);
    machine.files.erase(models / "clip-vit-b16-dfn/CLIPTextEncoder.mlmodelc");
    EXPECT_FALSE(registry.isAvailable(ModelID::clipVitB16));
    EXPECT_EQ(make().installedVersion(ModelID::clipVitB16), 3) << "remembered over a restart";
}

TEST_F(ModelRegistryTest, TheFileHoldsOneEntryAModelWithSortedKeys) {
    addFiles(ModelID::nima);
    auto registry = make();
    registry.registerModel(ModelID::nima, 1);
    registry.registerModel(ModelID::nima, 2);
    EXPECT_EQ(machine.files.contents(models / "registry.json"),
              "{\n  \"models\": [\n    {\n      \"installedAt\": \"2026-03-14T08:00:00Z\",\n"
              "      \"modelID\": \"nima\",\n      \"version\": \"2\"\n    }\n  ]\n}");
    for (const char* damage : {"", "{", "[]", "{\"models\": [{\"modelID\": \"nima\"}]}"}) {
        machine.files.addFile(models / "registry.json", damage);
        EXPECT_FALSE(make().installedVersion(ModelID::nima)) << damage;
    }
    machine.files.addFile(models / "registry.json",
                          "{\"models\": [{\"modelID\": \"nima\", \"version\": \"two\", "
                          "\"installedAt\": \"2026-01-01T00:00:00Z\"}]}");
    EXPECT_FALSE(make().installedVersion(ModelID::nima)) << "no number";
}

TEST_F(ModelRegistryTest, OffloadingRemovesFilesAndEntryAndDropsTheLoadedModel) {
    addFiles(ModelID::nima);
    addFiles(ModelID::faceNet);
    machine.files.addLink(models / "nima/round", Path(".."));
    auto registry = make();
    EXPECT_EQ(registry.sizeOnDisk(ModelID::faceNet), 5);
    EXPECT_EQ(registry.sizeOnDisk(ModelID::places365), 0);
    EXPECT_GE(registry.totalModelSize(), 10) << "a link that leads round does not hang";
    std::vector<ModelID> resets;
    registry.setResetHandler([&](ModelID id) { resets.push_back(id); });
    registry.registerModel(ModelID::nima, 1);
    EXPECT_FALSE(registry.offload(ModelID::places365));
    EXPECT_TRUE(log.contains("Failed to offload places365: No such file or directory"));
    EXPECT_THAT(resets, IsEmpty());
    EXPECT_TRUE(registry.offload(ModelID::nima));
    EXPECT_THAT(resets, ElementsAre(ModelID::nima));
    EXPECT_FALSE(make().installedVersion(ModelID::nima));
    EXPECT_TRUE(registry.isAvailable(ModelID::faceNet));
}

}  // namespace
}  // namespace kelvaris
