#include "platform/tls_trust.h"

#include <openssl/x509_vfy.h>
#include <sys/stat.h>

#include <mutex>
#include <utility>

#include "platform/file_system.h"

namespace platform {
namespace {

/// The store that was made last and the state of the files that it was made from.
struct Kept {
    std::string trustFile;
    std::string stamps;
    TrustStore store;
};

std::mutex keptMutex;
Kept kept;

std::string stampOf(const char* path) {
    struct stat status {};
    if (::stat(path, &status) != 0) {
        return "-;";
    }
    std::string stamp;
    for (const auto number :
         {static_cast<std::int64_t>(status.st_dev), static_cast<std::int64_t>(status.st_ino),
          static_cast<std::int64_t>(status.st_size),
          static_cast<std::int64_t>(status.st_mtim.tv_sec),
          static_cast<std::int64_t>(status.st_mtim.tv_nsec),
          static_cast<std::int64_t>(status.st_ctim.tv_sec),
          static_cast<std::int64_t>(status.st_ctim.tv_nsec)}) {
        stamp.append(std::to_string(number)).push_back(';');
    }
    return stamp;
}

/// Where the system keeps its certificates, by the library's own rules.
const char* systemPlace(const char* variable, const char* usual) {
    const char* given = environmentText(variable);
    return given ? given : usual;
}

std::string stampsFor(const std::string& trustFile) {
    if (!trustFile.empty()) {
        return stampOf(trustFile.c_str());
    }
    const char* file = systemPlace(X509_get_default_cert_file_env(), X509_get_default_cert_file());
    const char* folder = systemPlace(X509_get_default_cert_dir_env(), X509_get_default_cert_dir());
    return std::string(file) + stampOf(file) + folder + stampOf(folder);
}

TrustStore load(const std::string& trustFile) {
    TrustStore store(X509_STORE_new(), &X509_STORE_free);
    if (!store) {
        return nullptr;
    }
    if (trustFile.empty()) {
        return X509_STORE_set_default_paths(store.get()) == 1 ? store : nullptr;
    }
    FileInfo info;
    const bool isLoaded = statFile(trustFile, info) == 0 && info.isRegular &&
                          X509_STORE_load_file(store.get(), trustFile.c_str()) == 1 &&
                          X509_STORE_set_flags(store.get(), X509_V_FLAG_PARTIAL_CHAIN) == 1;
    return isLoaded ? store : nullptr;
}

}  // namespace

TrustStore trustStoreFor(const std::string& trustFile) {
    std::string stamps = stampsFor(trustFile);
    {
        const std::lock_guard lock(keptMutex);
        if (kept.store && kept.trustFile == trustFile && kept.stamps == stamps) {
            return kept.store;
        }
    }
    TrustStore store = load(trustFile);
    if (store) {
        const std::lock_guard lock(keptMutex);
        kept = {trustFile, std::move(stamps), store};
    }
    return store;
}

}  // namespace platform
