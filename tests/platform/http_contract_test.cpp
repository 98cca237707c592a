#include <gmock/gmock.h>

#include <condition_variable>

#include "loopback_server.h"
#include "machines.h"
#include "platform_linux/curl_http.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using testing::LoopbackServer;
using testing::ServedAnswer;
using Code = HttpError::Code;

/// What one transfer told until its completion.
struct Told {
    std::string body;
    std::vector<std::pair<std::int64_t, std::int64_t>> progress;
    std::optional<HttpResult<int>> result;
    std::mutex mutex;
    std::condition_variable changed;

    HttpHandlers handlers(std::function<bool()> wantsMore = [] { return true; }) {
        HttpHandlers handlers;
        handlers.body = [this, wantsMore](ByteView piece) {
            body += asText(piece);
            return wantsMore();
        };
        handlers.progress = [this](std::int64_t received, std::int64_t expected) {
            progress.emplace_back(received, expected);
        };
        handlers.completion = [this](HttpResult<int> answer) {
            const std::lock_guard guard(mutex);
            EXPECT_FALSE(result) << "completed twice";
            result = std::move(answer);
            changed.notify_all();
        };
        return handlers;
    }
    std::optional<Code> code() const {
        if (!result || result->has_value()) return std::nullopt;
        return result->error().code;
    }
};

struct NetworkUnderTest {
    virtual ~NetworkUnderTest() = default;
    virtual Http& http() = 0;
    virtual std::string serve(const std::string& path, ServedAnswer answer) = 0;
    virtual void wait(Told& told) = 0;
};

struct FakeNetwork final : NetworkUnderTest {
    Http& http() override { return machine.http; }
    std::string serve(const std::string& path, ServedAnswer answer) override {
        const std::string url = "https://fake" + path;
        machine.http.answer(url, FakeAnswer{.status = answer.status,
                                            .body = answer.body,
                                            .promisesLength = answer.promisesLength,
                                            .cutAt = answer.cutAt});
        if (answer.stalls) machine.http.holdAfterPieces(1);
        return url;
    }
    void wait(Told&) override { machine.settle(); }
    FakeMachine machine;
};

struct LoopbackNetwork final : NetworkUnderTest {
    Http& http() override { return curl; }
    std::string serve(const std::string& path, ServedAnswer answer) override {
        server.serve(path, std::move(answer));
        return server.url(path);
    }
    void wait(Told& told) override {
        std::unique_lock lock(told.mutex);
        told.changed.wait(lock, [&] { return told.result.has_value(); });
    }
    testing::TemporaryFolder folder;
    LoopbackServer server{folder.path()};
    CurlHttp curl{{.certificates = server.certificate()}};
};

struct HttpContract : ::testing::TestWithParam<const char*> {
    std::unique_ptr<NetworkUnderTest> network =
        std::string(GetParam()) == "fake" ? std::unique_ptr<NetworkUnderTest>(std::make_unique<FakeNetwork>())
                                          : std::make_unique<LoopbackNetwork>();
    Told told;
};
INSTANTIATE_CONTRACT(HttpContract);

TEST_P(HttpContract, ABodyArrivesWholeWithItsProgress) {
    const Bytes body(200'000, 'x');
    network->http().get(network->serve("/a", {.body = body}), told.handlers());
    network->wait(told);
    EXPECT_EQ(**told.result, 200);
    EXPECT_EQ(told.body, std::string(200'000, 'x'));
    EXPECT_EQ(told.progress.back(), std::pair(std::int64_t{200'000}, std::int64_t{200'000}));

    Told unpromised;
    network->http().get(network->serve("/b", {.body = body, .promisesLength = false}), unpromised.handlers());
    network->wait(unpromised);
    EXPECT_EQ(unpromised.progress.back(), std::pair(std::int64_t{200'000}, std::int64_t{0}));
}

TEST_P(HttpContract, AStatusOfFailureComesWithoutItsBody) {
    for (const int status : {404, 500}) {
        Told each;
        const auto url = network->serve("/a", {.status = status, .body = Bytes(100, 'x')});
        network->http().get(url, each.handlers());
        network->wait(each);
        EXPECT_EQ(**each.result, status);
        EXPECT_EQ(each.body, "");
    }
}

TEST_P(HttpContract, ACutConnectionIsAnError) {
    network->http().get(network->serve("/a", {.body = Bytes(100'000, 'x'), .cutAt = 50'000}),
                        told.handlers());
    network->wait(told);
    EXPECT_EQ(told.code(), Code::interrupted);
    EXPECT_LE(told.body.size(), 50'000u);
}

TEST_P(HttpContract, AHandlerCanRefuseAndAnOwnerCancel) {
    const auto url = network->serve("/a", {.body = Bytes(100'000, 'x')});
    network->http().get(url, told.handlers([] { return false; }));
    network->wait(told);
    EXPECT_EQ(told.code(), Code::refused);

    Told cancelled;
    const auto stalling =
        network->serve("/b", {.body = Bytes(10, 'x'), .promisedLength = 20, .stalls = true});
    const auto transfer = network->http().get(stalling, cancelled.handlers());
    transfer->cancel();
    network->wait(cancelled);
    EXPECT_EQ(cancelled.code(), Code::cancelled);
}

struct CurlHttpTest : ::testing::Test {
    void fetch(Told& told, const std::string& url) {
        curl.get(url, told.handlers());
        std::unique_lock lock(told.mutex);
        told.changed.wait(lock, [&] { return told.result.has_value(); });
    }
    testing::TemporaryFolder folder;
    LoopbackServer server{folder.path()};
    LoopbackServer plain{folder.path(), LoopbackServer::Protection::plain};
    CurlHttp curl{{.certificates = server.certificate()}};
};

TEST_F(CurlHttpTest, OnlyProtectedAddressesAreFetchedExceptOnThisMachine) {
    plain.serve("/a", "hello");
    Told loopback;
    fetch(loopback, plain.url("/a"));
    EXPECT_EQ(loopback.body, "hello");
    for (const char* url : {"http://192.0.2.1/a", "http://127.0.0.1.example.com/", "ftp://127.0.0.1/a",
                            "file:///etc/hostname", "", "no address", "http://localhost@192.0.2.1/"}) {
        Told told;
        fetch(told, url);
        EXPECT_EQ(told.code(), Code::notAllowed) << url;
    }
}

TEST_F(CurlHttpTest, ACertificateNobodyTrustsIsRefused) {
    server.serve("/a", "secret");
    CurlHttp distrustful;
    Told told;
    distrustful.get(server.url("/a"), told.handlers());
    std::unique_lock lock(told.mutex);
    told.changed.wait(lock, [&] { return told.result.has_value(); });
    EXPECT_EQ(told.code(), Code::unreachable);
    EXPECT_EQ(told.body, "");
}

TEST_F(CurlHttpTest, RedirectsAreFollowedWithinBoundsAndNeverDowngraded) {
    server.serve("/there", "found");
    plain.serve("/open", "found");
    server.serve("/once", {.status = 302, .body = Bytes(10, 'x'), .location = "/there"});
    server.serve("/round", {.status = 301, .location = "/round"});
    server.serve("/down", {.status = 307, .location = plain.url("/open")});
    server.serve("/out", {.status = 302, .location = "file:///etc/hostname"});
    plain.serve("/up", {.status = 302, .location = server.url("/there")});
    struct Row {
        std::string url;
        std::optional<Code> code;
    };
    for (const Row& row :
         {Row{server.url("/once"), {}}, Row{plain.url("/up"), {}}, Row{server.url("/round"), Code::redirects},
          Row{server.url("/down"), Code::redirects}, Row{server.url("/out"), Code::redirects}}) {
        Told told;
        fetch(told, row.url);
        EXPECT_EQ(told.code(), row.code) << row.url;
        EXPECT_EQ(told.body, row.code ? "" : "found") << row.url;
    }
    EXPECT_EQ(std::ranges::count(server.requests(), std::string("/round")), 6);
    EXPECT_THAT(plain.requests(), ElementsAre("/up"));
}

TEST_F(CurlHttpTest, TheEndOfTheNetworkEndsItsTransfers) {
    server.serve("/a", {.body = Bytes(10, 'x'), .promisedLength = 20, .stalls = true});
    Told told;
    {
        CurlHttp brief({.certificates = server.certificate()});
        brief.get(server.url("/a"), told.handlers());
    }
    EXPECT_EQ(told.code(), Code::cancelled);
}

}  // namespace
}  // namespace kelvaris
