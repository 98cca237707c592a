#include <gmock/gmock.h>

#include "archive_builder.h"
#include "base/run_loop.h"
#include "loopback_server.h"
#include "models/model_download.h"
#include "platform_linux/curl_http.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/openssl_digests.h"
#include "platform_linux/system_clock.h"
#include "platform_linux/zlib_compression.h"
#include "temporary_folder.h"

namespace kelvaris {
namespace {

using testing::downloadableArchive;
using testing::ServedAnswer;

/// The whole road on this machine: a server, threads, files, and the libraries behind the interfaces.
struct ModelNetworkTest : ::testing::Test {
    std::string download() {
        std::optional<std::string> outcome;
        downloads.enqueue(nima, {}, [&](DownloadResult<void> result) {
            outcome = result ? "done" : result.error().errorDescription();
        });
        RunLoop(main).runUntil([&] { return outcome.has_value(); });
        return *outcome;
    }
    std::string check() {
        bool isDone = false;
        updates.checkForUpdates([&] { isDone = true; });
        RunLoop(main).runUntil([&] { return isDone; });
        return updates.checkError().value_or("");
    }
    std::string installed() const {
        const auto bytes = files.read(registry.folder(nima) / "NIMA.mlmodelc/model.onnx");
        return bytes ? std::string(asText(*bytes)) : "";
    }

    static constexpr ModelID nima = ModelID::nima;
    static constexpr const char* address = "/models/nima-v1.tar.gz";
    testing::TemporaryFolder folder;
    testing::LoopbackServer server{folder.path()};
    SystemClock wall;
    SystemMonotonicClock monotonic;
    MainQueue main{monotonic};
    ThreadedOperationQueueFactory queues;
    LinuxFiles files;
    ZlibCompression compression;
    OpensslDigests digests;
    ModelEndpoint endpoint{server.url("")};
    CurlHttp http{{.certificates = server.certificate()}};
    ModelRegistryService registry{files, wall, folder.path() / "models"};
    ModelUpdateService updates{main, http, wall, registry, endpoint};
    ModelDownloadService downloads{
        {main, queues, files, http, compression, digests}, registry, updates, endpoint};
};

TEST_F(ModelNetworkTest, AModelIsFetchedUpdatedAndKeptThroughFailures) {
    server.serve(address, {.body = downloadableArchive(nima, "first")});
    EXPECT_EQ(download(), "done");
    EXPECT_EQ(installed(), "first");

    const Bytes newer = downloadableArchive(nima, "second");
    const auto digest = digests.makeSha256();
    digest->update(newer);
    const std::string hash = digest->finish();
    const auto publish = [&](const std::string& sha256) {
        server.serve(
            "/models/model-manifest.json",
            fmt::format(R"({{"manifestVersion": 1, "models": {{"nima": {{"version": 2, "url": "{}", )"
                        R"("size": {}, "sha256": "{}"}}}}}})",
                        server.url("/new"), newer.size(), sha256));
    };
    publish(std::string(64, '0'));
    server.serve("/new", {.body = newer});
    EXPECT_EQ(check(), "");
    EXPECT_TRUE(updates.hasUpdate(nima));
    EXPECT_EQ(download(), "Download integrity check failed. Try again.");

    publish(hash);
    EXPECT_EQ(check(), "");
    server.serve("/new", {.body = newer, .cutAt = newer.size() / 2});
    EXPECT_NE(download(), "done");
    server.serve("/new", {.body = newer, .promisedLength = newer.size() + 1});
    EXPECT_NE(download(), "done") << "a byte less than was promised";
    server.serve("/new", {.status = 302, .location = "/new"});
    EXPECT_EQ(download(), "Too many redirects");
    server.serve("/new", {.status = 404});
    EXPECT_EQ(download(), "Model not available for download yet.");
    EXPECT_EQ(installed(), "first");
    EXPECT_EQ(registry.installedVersion(nima), 1);

    server.serve("/new", {.status = 302, .location = "/moved"});
    server.serve("/moved", {.body = newer});
    EXPECT_EQ(download(), "done");
    EXPECT_EQ(installed(), "second");
    EXPECT_EQ(registry.installedVersion(nima), 2);
    EXPECT_TRUE(files.list(folder.path() / "models/.staging")->empty());
}

TEST_F(ModelNetworkTest, ADownloadThatStallsCanBeCancelled) {
    Bytes archive = downloadableArchive(nima, "x");
    const std::size_t half = archive.size() / 2;
    server.serve(address, {.body = std::move(archive), .cutAt = half, .stalls = true});
    std::optional<DownloadError::Code> code;
    downloads.enqueue(nima, {}, [&](DownloadResult<void> result) { code = result.error().code; });
    const auto isUnderWay = [&] { return downloads.activeDownloads().at(nima).progress > 0.1; };
    RunLoop(main).runUntil(isUnderWay);
    downloads.cancel(nima);
    RunLoop(main).runUntil([&] { return code.has_value(); });
    EXPECT_EQ(code, DownloadError::Code::cancelled);
    EXPECT_TRUE(downloads.activeDownloads().empty());
}

}  // namespace
}  // namespace kelvaris
