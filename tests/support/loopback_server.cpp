#include "loopback_server.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kelvaris::testing {

namespace {

constexpr std::size_t pieceSize = 16384;
constexpr int pollMilliseconds = 20;

using Certificate = std::unique_ptr<X509, void (*)(X509*)>;

/// Signed by itself, for this machine's own addresses, for an hour.
Certificate makeCertificate(EVP_PKEY* key) {
    Certificate certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    const auto* common = reinterpret_cast<const unsigned char*>("localhost");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, common, -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_EXTENSION* const names =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
    X509_add_ext(certificate.get(), names, -1);
    X509_EXTENSION_free(names);
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

}  // namespace

struct LoopbackServer::Identity {
    Identity() : context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {}
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context;
};

struct LoopbackServer::Connection {
    explicit Connection(int socket) : socket(socket) {}
    ~Connection() {
        if (secure) SSL_free(secure);
        close(socket);
    }
    bool protect(SSL_CTX* context) {
        secure = SSL_new(context);
        SSL_set_fd(secure, socket);
        return SSL_accept(secure) == 1;
    }
    int read(char* into, int size) {
        return secure ? SSL_read(secure, into, size) : static_cast<int>(recv(socket, into, size, 0));
    }
    bool write(ByteView bytes) {
        while (!bytes.empty()) {
            const int size = static_cast<int>(std::min(bytes.size(), pieceSize));
            const int count = secure ? SSL_write(secure, bytes.data(), size)
                                     : static_cast<int>(send(socket, bytes.data(), size, MSG_NOSIGNAL));
            if (count <= 0) return false;
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
        return true;
    }

    int socket;
    SSL* secure = nullptr;
};

LoopbackServer::LoopbackServer(const Path& folder, Protection protection)
    : certificate_(folder / "server.pem") {
    signal(SIGPIPE, SIG_IGN);  // a client that goes away ends a write, not the program
    if (protection == Protection::https) {
        identity_ = std::make_unique<Identity>();
        EVP_PKEY* const key = EVP_EC_gen("P-256");
        const Certificate certificate = makeCertificate(key);
        SSL_CTX_use_PrivateKey(identity_->context.get(), key);
        SSL_CTX_use_certificate(identity_->context.get(), certificate.get());
        EVP_PKEY_free(key);
        FILE* const file = std::fopen(certificate_.string().c_str(), "w");
        if (!file) std::abort();
        PEM_write_X509(file, certificate.get());
        std::fclose(file);
    }
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener_, 16) != 0) {
        std::abort();
    }
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

LoopbackServer::~LoopbackServer() {
    isEnding_ = true;
    thread_.join();
    close(listener_);
}

void LoopbackServer::serve(const std::string& path, ServedAnswer answer) {
    const std::lock_guard guard(mutex_);
    answers_[path] = std::move(answer);
}

std::string LoopbackServer::url(const std::string& path) const {
    return fmt::format("{}://127.0.0.1:{}{}", identity_ ? "https" : "http", port_, path);
}

std::vector<std::string> LoopbackServer::requests() const {
    const std::lock_guard guard(mutex_);
    return requests_;
}

void LoopbackServer::run() {
    while (!isEnding_) {
        pollfd waiting{listener_, POLLIN, 0};
        if (poll(&waiting, 1, pollMilliseconds) <= 0) continue;
        const int accepted = accept(listener_, nullptr, nullptr);
        if (accepted < 0) continue;
        Connection connection(accepted);
        if (!identity_ || connection.protect(identity_->context.get())) answer(connection);
    }
}

void LoopbackServer::answer(Connection& connection) {
    std::string request;
    char piece[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const int count = connection.read(piece, sizeof piece);
        if (count <= 0) return;
        request.append(piece, static_cast<std::size_t>(count));
    }
    const auto begin = request.find(' ') + 1;
    const std::string path = request.substr(begin, request.find(' ', begin) - begin);
    ServedAnswer answer{.status = 404};
    {
        const std::lock_guard guard(mutex_);
        requests_.push_back(path);
        if (const auto found = answers_.find(path); found != answers_.end()) answer = found->second;
    }
    std::string head = fmt::format("HTTP/1.1 {} -\r\nConnection: close\r\n", answer.status);
    if (answer.promisesLength) {
        head += fmt::format("Content-Length: {}\r\n", answer.promisedLength.value_or(answer.body.size()));
    }
    if (!answer.location.empty()) head += fmt::format("Location: {}\r\n", answer.location);
    head += "\r\n";
    const std::size_t size = std::min(answer.body.size(), answer.cutAt.value_or(answer.body.size()));
    if (!connection.write(asBytes(head)) || !connection.write(ByteView(answer.body).first(size))) return;
    pollfd gone{connection.socket, POLLIN, 0};
    while (answer.stalls && !isEnding_ && poll(&gone, 1, pollMilliseconds) == 0) {
    }
    if (connection.secure && !answer.cutAt) SSL_shutdown(connection.secure);
}

}  // namespace kelvaris::testing
