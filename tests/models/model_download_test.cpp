#include "models/model_download.h"

#include <gmock/gmock.h>

#include "archive_builder.h"
#include "log_capture.h"
#include "platform_fake/fake_machine.h"

namespace kelvaris {
namespace {

using testing::downloadableArchive;
using ::testing::ElementsAre;
using testing::gzipOf;
using ::testing::IsEmpty;
using testing::modelEntries;
using testing::tarOf;
using Code = DownloadError::Code;
using Kind = DownloadState::Kind;

struct ModelDownloadTest : ::testing::Test {
    ModelDownloadTest() { machine.files.addFolder(models); }

    std::string url(ModelID id) const { return endpoint.archive(id); }
    std::string hashOf(const Bytes& bytes) const {
        const auto digest = machine.digests.makeSha256();
        digest->update(bytes);
        return digest->finish();
    }
    void installOld() {
        for (const auto& entry : modelEntries(nima, "old")) {
            if (entry.type == '0') machine.files.addFile(models / entry.name, entry.data);
        }
        registry.registerModel(nima, 1);
    }
    std::optional<std::string> standing() const {
        return machine.files.contents(models / "nima/NIMA.mlmodelc/model.onnx");
    }
    ModelDownloadService::Completion note() {
        return [this](DownloadResult<void> result) {
            outcomes.push_back(result ? std::string("done") : result.error().errorDescription());
        };
    }
    std::optional<DownloadState> state(ModelID id = nima) const {
        const auto found = downloads.activeDownloads().find(id);
        if (found == downloads.activeDownloads().end()) return std::nullopt;
        return found->second;
    }
    void publishManifest(std::int64_t version, const std::string& address, const std::string& hash) {
        machine.http.answer(endpoint.manifest(),
                            fmt::format(R"({{"manifestVersion": 1, "models": {{"nima": {{"version": {}, )"
                                        R"("url": "{}", "size": 1, "sha256": "{}"}}}}}})",
                                        version, address, hash));
        updates.checkForUpdates();
        machine.settle();
        ASSERT_TRUE(updates.cachedManifest());
    }

    static constexpr ModelID nima = ModelID::nima;
    FakeMachine machine;
    testing::LogCapture log;
    const Path models = modelsDirectory(machine.places);
    const ModelEndpoint endpoint{"https://models.test"};
    ModelRegistryService registry{machine.files, machine.clock.wall(), models};
    ModelUpdateService updates{machine.main, machine.http, machine.clock.wall(), registry, endpoint};
    ModelDownloadService downloads{
        {machine.main, machine.queues, machine.files, machine.http, machine.compression, machine.digests},
        registry,
        updates,
        endpoint};
    std::vector<std::string> outcomes;
};

TEST_F(ModelDownloadTest, AModelIsFetchedUnpackedAndRegistered) {
    machine.http.answer(url(nima), {.body = downloadableArchive(nima, "new")});
    std::vector<Kind> kinds;
    double progress = 0;
    bool rises = true;
    const auto watching = downloads.observe([&](ModelDownloadField) {
        const auto now = state();
        if (!now) return;
        if (kinds.empty() || kinds.back() != now->kind) kinds.push_back(now->kind);
        if (now->kind == Kind::downloading) rises = rises && now->progress >= progress;
        if (now->kind == Kind::downloading) progress = now->progress;
    });
    downloads.enqueue(nima, {}, note());
    machine.settle();
    EXPECT_THAT(outcomes, ElementsAre("done"));
    EXPECT_THAT(kinds, ElementsAre(Kind::queued, Kind::downloading, Kind::extracting));
    EXPECT_TRUE(rises && progress > 0.9 && progress <= 1) << progress;
    EXPECT_EQ(standing(), "new");
    EXPECT_EQ(registry.installedVersion(nima), 1);
    EXPECT_FALSE(state());
    EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty());
    EXPECT_THAT(machine.http.requests, ElementsAre("https://models.test/models/nima-v1.tar.gz"));
    EXPECT_TRUE(log.contains("Download complete: nima v1"));
}

TEST_F(ModelDownloadTest, EveryBadAnswerHasItsWordsAndKeepsTheEarlierInstall) {
    const Bytes good = downloadableArchive(nima, "new");
    Bytes noGzip = good;
    noGzip[1] = 0;
    Bytes damaged = good;
    damaged[15] ^= 0xFF;
    Bytes cutMember = good;
    cutMember.resize(cutMember.size() - 1000);
    Bytes climbing = tarOf({{.name = "../../nima/NIMA.mlmodelc/model.onnx", .data = "evil"},
                            {.name = "filling", .data = std::string(3'000'000, 'f')}});
    climbing = gzipOf(climbing);
    struct Row {
        const char* what;
        FakeAnswer answer;
        std::string outcome;
        std::string message;
    };
    const std::string corrupted = "Download may be corrupted. Please try again.";
    const std::string failed = "Installation failed. Try again.";
    const std::string invalid = "Downloaded file is not a valid model archive.";
    const Row rows[] = {
        {"404",
         {.status = 404},
         "Model not available for download yet.",
         "Model not available for download yet."},
        {"500", {.status = 500}, "Download failed (HTTP 500).", "Download failed (HTTP 500)."},
        {"empty", {}, invalid, invalid},
        {"half a byte too small", {.body = Bytes(2'999'999, 0x1F)}, invalid, invalid},
        {"not gzip", {.body = noGzip}, invalid, invalid},
        {"cut", {.body = good, .cutAt = 2'000'000}, "the connection was lost", "the connection was lost"},
        {"damaged", {.body = damaged}, failed, corrupted},
        {"cut member", {.body = cutMember}, failed, corrupted},
        {"path traversal", {.body = climbing}, failed, corrupted},
        {"another model",
         {.body = gzipOf(tarOf({{.name = "x", .data = std::string(3'000'000, 'f')}}))},
         "Model files missing after extraction.",
         corrupted},
    };
    installOld();
    for (const Row& row : rows) {
        outcomes.clear();
        machine.http.answer(url(nima), row.answer);
        downloads.enqueue(nima, {}, note());
        machine.settle();
        EXPECT_THAT(outcomes, ElementsAre(row.outcome)) << row.what;
        EXPECT_EQ(state(), (DownloadState{Kind::failed, 0, row.message})) << row.what;
        EXPECT_EQ(standing(), "old") << row.what;
        EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty()) << row.what;
    }
    EXPECT_EQ(registry.installedVersion(nima), 1);
    EXPECT_TRUE(log.contains("Path traversal detected: ../../nima/NIMA.mlmodelc/model.onnx"));
    machine.http.answer(url(nima), {.body = good});
    downloads.enqueue(nima);
    machine.settle();
    EXPECT_EQ(standing(), "new") << "a failure does not stand in the way of the next try";
}

TEST_F(ModelDownloadTest, TheManifestTellsAddressVersionAndHash) {
    const Bytes archive = downloadableArchive(nima, "new");
    const std::string address = "https://cdn.test/nima.tar.gz";
    machine.http.answer(address, {.body = archive});
    publishManifest(7, address, "ABCDEF");
    downloads.download(nima, {}, note());
    machine.settle();
    EXPECT_THAT(outcomes, ElementsAre("Download integrity check failed. Try again."));
    EXPECT_EQ(state()->message, "Checksum mismatch. Download may be corrupted.");
    EXPECT_TRUE(log.contains("SHA256 mismatch for nima: expected ABCDEF, got " + hashOf(archive)));
    EXPECT_FALSE(standing());

    std::string upper = hashOf(archive);
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    publishManifest(7, address, upper);
    downloads.download(nima, {}, note());
    machine.settle();
    EXPECT_EQ(registry.installedVersion(nima), 7);

    machine.http.answer("https://own.test/x", {.body = archive});
    downloads.download(nima, {.url = "https://own.test/x"}, note());
    machine.settle();
    EXPECT_EQ(registry.installedVersion(nima), 1) << "the manifest tells nothing of another address";
}

TEST_F(ModelDownloadTest, SpaceIsAskedForBeforeAndMayRunOutMeanwhile) {
    machine.http.answer(url(nima), {.body = downloadableArchive(nima, "new")});
    machine.files.setFreeSpace(11'999'999);
    downloads.enqueue(nima, {}, note());
    machine.settle();
    EXPECT_EQ(state()->message, "Not enough disk space. Need 12 MB.");
    EXPECT_THAT(machine.http.requests, IsEmpty());

    machine.files.setFreeSpace(12'000'000);
    machine.http.holdAfterPieces(10);
    downloads.enqueue(nima, {}, note());
    machine.settle();
    machine.files.setFreeSpace(100'000);
    machine.http.letGoOn();
    machine.settle();
    EXPECT_EQ(state()->message, "Not enough disk space.");
    EXPECT_THAT(outcomes, ElementsAre("Not enough disk space.", "Not enough disk space."));
    EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty());
}

TEST_F(ModelDownloadTest, OneAtATimeInTheOrderOfTheQueue) {
    machine.http.holdAfterPieces(3);
    for (const ModelID id : {ModelID::faceNet, nima}) {
        machine.http.answer(url(id), {.body = downloadableArchive(id, "new")});
        downloads.enqueue(id, {}, note());
    }
    downloads.enqueue(nima, {}, note());
    machine.settle();
    EXPECT_EQ(machine.http.requests.size(), 1u);
    EXPECT_EQ(state(ModelID::faceNet)->kind, Kind::downloading);
    EXPECT_EQ(state()->kind, Kind::queued);
    machine.http.letGoOn();
    machine.settle();
    EXPECT_THAT(outcomes, ElementsAre("done", "done"))
        << "the second wish for the same model is no second download";
    EXPECT_TRUE(registry.isAvailable(nima) && registry.isAvailable(ModelID::faceNet));
}

TEST_F(ModelDownloadTest, CancellingWorksAtEveryStage) {
    installOld();
    machine.http.answer(url(ModelID::faceNet), {.body = downloadableArchive(ModelID::faceNet, "f")});
    machine.http.answer(url(nima), {.body = downloadableArchive(nima, "new")});
    machine.http.holdAfterPieces(3);
    downloads.enqueue(ModelID::faceNet, {}, note());
    downloads.enqueue(nima, {}, note());
    machine.settle();
    downloads.cancel(nima);
    machine.settle();
    EXPECT_FALSE(state());
    EXPECT_THAT(outcomes, IsEmpty()) << "queued: nobody hears of it";

    downloads.enqueue(nima, {}, note());
    downloads.cancel(ModelID::faceNet);
    machine.settle();
    EXPECT_THAT(outcomes, ElementsAre("Cancelled.")) << "running";
    EXPECT_EQ(state()->kind, Kind::downloading) << "the queue goes on";
    EXPECT_FALSE(state(ModelID::faceNet));
    EXPECT_FALSE(registry.isAvailable(ModelID::faceNet));

    machine.http.letGoOn();
    while (state()->kind != Kind::extracting) machine.main.drain();
    downloads.cancel(nima);
    EXPECT_FALSE(state());
    machine.settle();
    EXPECT_THAT(outcomes, ElementsAre("Cancelled.", "Cancelled.")) << "extracting";
    EXPECT_EQ(standing(), "old");
    EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty());

    downloads.enqueue(nima, {}, note());
    machine.settle();
    EXPECT_EQ(outcomes.back(), "done");
    EXPECT_EQ(standing(), "new");
}

TEST_F(ModelDownloadTest, ACancelThatComesAfterTheSwapStillTellsTheTruthOfVersions) {
    installOld();
    machine.http.answer(url(nima), {.body = downloadableArchive(nima, "new")});
    downloads.download(nima, {.version = 5}, note());
    while (!state() || state()->kind != Kind::extracting) machine.main.drain();
    machine.queues.runAll();
    downloads.cancel(nima);
    machine.settle();
    EXPECT_EQ(standing(), "new");
    EXPECT_EQ(registry.installedVersion(nima), 5);
}

TEST_F(ModelDownloadTest, AnUpdateClearsItsRow) {
    installOld();
    const Bytes archive = downloadableArchive(nima, "new");
    machine.http.answer("https://cdn.test/n", {.body = archive});
    publishManifest(2, "https://cdn.test/n", hashOf(archive));
    EXPECT_TRUE(updates.hasUpdate(nima));
    int resets = 0;
    registry.setResetHandler([&](ModelID) { ++resets; });
    downloads.update(nima, note());
    machine.settle();
    EXPECT_THAT(outcomes, ElementsAre("done"));
    EXPECT_EQ(registry.installedVersion(nima), 2);
    EXPECT_FALSE(updates.hasUpdate(nima));
    EXPECT_EQ(resets, 1) << "the loaded one is the old one";
    downloads.update(nima, note());
    machine.settle();
    EXPECT_EQ(outcomes.size(), 1u);
}

TEST_F(ModelDownloadTest, LeftoversOfACrashGoUnlessAnotherProgramIsAtWork) {
    const auto start = [&] {
        ModelDownloadService another(
            {machine.main, machine.queues, machine.files, machine.http, machine.compression, machine.digests},
            registry, updates, endpoint);
    };
    machine.files.addFile(models / ".staging/old/x", "left");
    auto lock = machine.files.lock(models / ".staging.lock");
    start();
    EXPECT_TRUE(machine.files.exists(models / ".staging/old/x"));
    downloads.download(nima, {}, note());
    EXPECT_THAT(outcomes, ElementsAre("Another running Kelvaris is installing models."));
    lock->reset();
    start();
    EXPECT_FALSE(machine.files.exists(models / ".staging"));
}

TEST_F(ModelDownloadTest, ALocalArchiveNeedsNoNetworkAndNoLeastSize) {
    const Path archive("/home/user/nima-v9.tar.gz");
    machine.files.addFile(archive, asText(gzipOf(tarOf(modelEntries(nima, "own")))));
    std::optional<DownloadResult<std::vector<ModelID>>> result;
    const auto keep = [&](DownloadResult<std::vector<ModelID>> installed) { result = std::move(installed); };
    downloads.installArchive(archive, keep);
    machine.settle();
    ASSERT_TRUE(result && *result);
    EXPECT_THAT(**result, ElementsAre(nima));
    EXPECT_EQ(standing(), "own");
    EXPECT_EQ(registry.installedVersion(nima), 9);
    EXPECT_TRUE(machine.files.exists(archive)) << "the user's file stays";
    downloads.installArchive(Path("/home/user/none"), keep);
    machine.settle();
    EXPECT_FALSE(*result);
}

TEST_F(ModelDownloadTest, TheEndOfTheServiceLeavesNoDanglingWork) {
    machine.http.answer(url(nima), {.body = downloadableArchive(nima, "new")});
    {
        ModelDownloadService brief(
            {machine.main, machine.queues, machine.files, machine.http, machine.compression, machine.digests},
            registry, updates, endpoint);
        machine.http.holdAfterPieces(3);
        brief.download(nima, {}, note());
        machine.settle();
    }
    machine.http.letGoOn();
    machine.settle();
    EXPECT_FALSE(registry.isAvailable(nima));
    EXPECT_THAT(machine.files.allFiles(models / ".staging"), IsEmpty());
}

TEST_F(ModelDownloadTest, ManifestsAreCheckedAndFailuresKeepTheOlderOne) {
    installOld();
    publishManifest(2, "https://cdn.test/n", "00");
    EXPECT_TRUE(updates.hasUpdate(nima));
    const auto checkedAt = updates.lastCheckDate();
    machine.clock.advance(std::chrono::hours(1));
    struct Row {
        FakeAnswer answer;
        std::string error;
    };
    const auto text = [](std::string_view body) {
        return FakeAnswer{.body = Bytes(body.begin(), body.end())};
    };
    const std::string unreadable = "The model manifest could not be read.";
    for (const Row& row :
         {Row{{.status = 500}, "Failed to fetch model manifest (HTTP 500)"}, Row{text("{"), unreadable},
          Row{text(R"({"manifestVersion": 1, "models": {"nima": {"version": "2"}}})"), unreadable},
          Row{{.cutAt = 0}, "the connection was lost"}, Row{{.body = Bytes(2'000'000, ' ')}, "refused"}}) {
        machine.http.answer(endpoint.manifest(), row.answer);
        updates.checkForUpdates();
        EXPECT_TRUE(updates.isChecking());
        machine.settle();
        EXPECT_FALSE(updates.isChecking());
        EXPECT_EQ(updates.checkError(), row.error);
        EXPECT_TRUE(log.contains("Failed to check for model updates: " + row.error));
        EXPECT_TRUE(updates.hasUpdate(nima));
        EXPECT_EQ(updates.lastCheckDate(), checkedAt);
    }
    machine.http.answer(endpoint.manifest(), {.status = 404});
    updates.checkForUpdates();
    machine.settle();
    EXPECT_FALSE(updates.checkError());
    EXPECT_FALSE(updates.hasUpdate(nima));
    EXPECT_GT(updates.lastCheckDate(), checkedAt);
}

TEST_F(ModelDownloadTest, OnlyInstalledModelsAreUpdatedAndUnknownAgesCountAsTheFirst) {
    publishManifest(9, "https://cdn.test/n", "00");
    EXPECT_FALSE(updates.hasUpdate(nima)) << "not installed";
    machine.files.addFile(models / "nima/NIMA.mlmodelc/model.onnx", "by hand");
    publishManifest(1, "https://cdn.test/n", "00");
    EXPECT_FALSE(updates.hasUpdate(nima));
    publishManifest(2, "https://cdn.test/n", "00");
    EXPECT_TRUE(updates.hasUpdate(nima));
    registry.registerModel(nima, 2);
    updates.computeAvailableUpdates();
    EXPECT_FALSE(updates.hasUpdate(nima));
    machine.http.answer(
        endpoint.manifest(),
        R"({"manifestVersion": 1, "models": {"future": {"version": 1, "url": "", "size": 1, "sha256": ""}}})");
    updates.checkForUpdates();
    machine.settle();
    EXPECT_FALSE(updates.checkError());
    EXPECT_TRUE(updates.availableUpdates().empty());
}

TEST(ByteCountText, SizesReadAsTheFileManagerShowsThem) {
    EXPECT_EQ(byteCountText(560'000'000), "560 MB");
    EXPECT_EQ(byteCountText(1'250'000'000), "1.25 GB");
    EXPECT_EQ(byteCountText(1'500'000), "1.5 MB");
    EXPECT_EQ(byteCountText(999), "999 bytes");
}

}  // namespace
}  // namespace kelvaris
