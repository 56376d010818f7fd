#include "delivery/caldav/webdav/CurlWebDAVClient.h"

#include <curl/curl.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "delivery/caldav/webdav/MultistatusReading.h"
#include "delivery/caldav/webdav/WebAddress.h"

namespace tasklane {

namespace {

constexpr std::size_t kLargestAnswer = std::size_t{256} << 20;
constexpr int kMostRedirections = 5;
constexpr std::chrono::milliseconds kConnecting{10000};
constexpr int kLongestPoll = 1000;  // milliseconds
/// A server that sends less for as long as the patience lasts has stopped.
constexpr long kSlowest = 64;  // bytes a second
constexpr std::chrono::seconds kLongestRetryAfter = std::chrono::hours(1);

template <class Value>
void set(CURL* handle, CURLoption option, Value value) {
  curl_easy_setopt(handle, option, value);
}

std::string trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

bool isReadable(int descriptor) {
  pollfd readable{descriptor, POLLIN, 0};
  return descriptor >= 0 && ::poll(&readable, 1, 0) > 0;
}

bool isRedirection(long status) {
  return status == 301 || status == 302 || status == 307 || status == 308;
}

}  // namespace

/// One request under way, on a handle that keeps what it has learnt of the server's login.
class CurlWebDAVClient::Transfer {
 public:
  Transfer() : handle_(curl_easy_init(), &curl_easy_cleanup), headers_(nullptr, &free) {}

  CURL* handle() const { return handle_.get(); }

  std::size_t index = 0;
  WebDAVRequest request;
  WebDAVResponse response;
  int redirections = 0;
  unsigned passwordNumber = 0;  // that it was sent with, 0 for none

  void prepare(const Settings& settings) {
    CURL* const handle = handle_.get();
    set(handle, CURLOPT_PRIVATE, this);
    set(handle, CURLOPT_NOSIGNAL, 1L);
    set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    set(handle, CURLOPT_ERRORBUFFER, error_.data());
    set(handle, CURLOPT_WRITEFUNCTION, &Transfer::takeBody);
    set(handle, CURLOPT_WRITEDATA, this);
    set(handle, CURLOPT_HEADERFUNCTION, &Transfer::takeHeader);
    set(handle, CURLOPT_HEADERDATA, this);
    set(handle, CURLOPT_USERAGENT, "Tasklane");
    set(handle, CURLOPT_CONNECTTIMEOUT_MS,
        static_cast<long>(
            std::min<std::chrono::milliseconds>(kConnecting, settings.patience).count()));
    set(handle, CURLOPT_LOW_SPEED_LIMIT, kSlowest);
    set(handle, CURLOPT_LOW_SPEED_TIME, static_cast<long>(settings.patience.count()));
    if (!settings.authoritiesFile.empty()) {
      set(handle, CURLOPT_CAINFO, settings.authoritiesFile.c_str());
      set(handle, CURLOPT_CAPATH, nullptr);
    }
  }

  void begin(WebDAVRequest newRequest, std::size_t newIndex) {
    request = std::move(newRequest);
    index = newIndex;
    redirections = 0;
    response = {};
    response.address = request.address;
  }

  /// The request to the address that it has come to by now.
  void ready() {
    CURL* const handle = handle_.get();
    response.status = 0;
    response.body.clear();
    response.etag.clear();
    response.retryAfter.reset();
    error_[0] = '\0';
    curl_slist* list = curl_slist_append(nullptr, "Expect:");
    for (const auto& header : request.headers) list = curl_slist_append(list, header.c_str());
    headers_.reset(list);
    set(handle, CURLOPT_HTTPHEADER, list);
    set(handle, CURLOPT_URL, response.address.c_str());
    if (request.body.empty()) {
      set(handle, CURLOPT_HTTPGET, 1L);
    } else {
      set(handle, CURLOPT_POST, 1L);
      set(handle, CURLOPT_POSTFIELDS, request.body.c_str());
      set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }
    set(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  std::string location() const {
    char* address = nullptr;
    curl_easy_getinfo(handle_.get(), CURLINFO_REDIRECT_URL, &address);
    return address ? address : "";
  }

  void finish(CURLcode code, std::chrono::seconds patience) {
    if (code == CURLE_OK) {
      curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &response.status);
      curl_off_t seconds = 0;
      curl_easy_getinfo(handle_.get(), CURLINFO_RETRY_AFTER, &seconds);
      if (seconds > 0)
        response.retryAfter =
            std::min<std::chrono::seconds>(std::chrono::seconds(seconds), kLongestRetryAfter);
    } else {
      response.status = 0;
      response.error = sentence(code, patience);
    }
  }

 private:
  static void free(curl_slist* list) { curl_slist_free_all(list); }

  static std::size_t takeBody(char* bytes, std::size_t, std::size_t count, void* self) {
    auto& body = static_cast<Transfer*>(self)->response.body;
    if (body.size() + count > kLargestAnswer) return 0;
    body.append(bytes, count);
    return count;
  }

  static std::size_t takeHeader(char* bytes, std::size_t, std::size_t count, void* self) {
    auto& response = static_cast<Transfer*>(self)->response;
    const std::string_view line(bytes, count);
    constexpr std::string_view kETag = "etag:";
    if (line.starts_with("HTTP/")) {  // also of an answer before the one that counts
      response.etag.clear();
      response.body.clear();
    } else if (line.size() > kETag.size() &&
               std::equal(kETag.begin(), kETag.end(), line.begin(),
                          [](char lower, char c) { return lower == (c | 0x20) || lower == c; })) {
      response.etag = trimmed(line.substr(kETag.size()));
    }
    return count;
  }

  std::string sentence(CURLcode code, std::chrono::seconds patience) const {
    const std::string origin = originOfAddress(response.address);
    const std::string detail = error_[0] ? error_.data() : curl_easy_strerror(code);
    switch (code) {
      case CURLE_COULDNT_RESOLVE_HOST:
        return "the host " + hostOfAddress(response.address) +
               " is not found; its name is wrong, or there is no network";
      case CURLE_COULDNT_CONNECT:
        return "nothing answers at " + origin;
      case CURLE_OPERATION_TIMEDOUT:
        return origin + " did not answer within " + std::to_string(patience.count()) + " seconds";
      case CURLE_PEER_FAILED_VERIFICATION:
        return "the certificate of " + origin + " is not trusted (" + detail +
               "); if the server is your own, name its authority's certificate with --ca-file";
      case CURLE_SSL_CACERT_BADFILE:
        return "the certificates of --ca-file cannot be read (" + detail + ")";
      case CURLE_SSL_CONNECT_ERROR:
        return "no encrypted connection to " + origin + " came about (" + detail + ")";
      case CURLE_GOT_NOTHING:
      case CURLE_PARTIAL_FILE:
      case CURLE_SEND_ERROR:
      case CURLE_RECV_ERROR:
        return "the connection to " + origin + " broke off";
      case CURLE_WRITE_ERROR:
        return origin + " answered with more than a task list can be";
      default:
        return origin + " could not be asked (" + detail + ")";
    }
  }

  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
  std::unique_ptr<curl_slist, decltype(&free)> headers_;
  std::array<char, CURL_ERROR_SIZE> error_{};
};

struct CurlWebDAVClient::Handles {
  std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi{curl_multi_init(),
                                                              &curl_multi_cleanup};
  std::vector<std::unique_ptr<Transfer>> transfers;
  std::vector<Transfer*> idle;
  std::vector<Transfer*> underWay;

  void start(Transfer& transfer) { curl_multi_add_handle(multi.get(), transfer.handle()); }
  void stop(Transfer& transfer) { curl_multi_remove_handle(multi.get(), transfer.handle()); }
  void release(Transfer& transfer) {
    std::erase(underWay, &transfer);
    idle.push_back(&transfer);
  }

  /// What has come to its end; waits for the network or the other descriptor when nothing has.
  std::pair<Transfer*, CURLcode> nextFinished(int other) {
    int ignored = 0;
    curl_multi_perform(multi.get(), &ignored);
    while (const CURLMsg* message = curl_multi_info_read(multi.get(), &ignored)) {
      if (message->msg != CURLMSG_DONE) continue;
      char* transfer = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
      return {reinterpret_cast<Transfer*>(transfer), message->data.result};
    }
    curl_waitfd end{other, CURL_WAIT_POLLIN, 0};
    curl_multi_poll(multi.get(), &end, other >= 0 ? 1 : 0, kLongestPoll, nullptr);
    return {nullptr, CURLE_OK};
  }
};

CurlWebDAVClient::CurlWebDAVClient(Settings settings)
    : settings_(std::move(settings)), authentication_(CURLAUTH_BASIC | CURLAUTH_DIGEST) {
  static const bool isReady = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  (void)isReady;
  handles_ = std::make_unique<Handles>();
  const auto most = static_cast<long>(kMostConnections);
  curl_multi_setopt(handles_->multi.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS, most);
  curl_multi_setopt(handles_->multi.get(), CURLMOPT_MAXCONNECTS, most);
  for (std::size_t i = 0; i < kMostConnections; ++i) {
    handles_->transfers.push_back(std::make_unique<Transfer>());
    handles_->transfers.back()->prepare(settings_);
    handles_->idle.push_back(handles_->transfers.back().get());
  }
}

CurlWebDAVClient::~CurlWebDAVClient() {
  for (auto* transfer : handles_->underWay) handles_->stop(*transfer);
}

Result<Multistatus> CurlWebDAVClient::multistatus(const WebDAVResponse& response) const {
  return multistatusFromXML(response.body, response.address);
}

bool CurlWebDAVClient::namesCondition(const WebDAVResponse& response,
                                      const std::string& condition) const {
  return errorNamesCondition(response.body, condition);
}

std::optional<std::string> CurlWebDAVClient::resolved(const std::string& address,
                                                      const std::string& reference) const {
  return resolvedAddress(address, reference);
}

void CurlWebDAVClient::sendAll(std::size_t count, const MakeRequest& makeRequest,
                               const OnResponse& onResponse) {
  std::size_t next = 0;
  bool goesOn = true;
  mayAskForPassword_ = true;
  const auto end = [&](Transfer& transfer) {
    handles_->release(transfer);
    goesOn &= onResponse(transfer.index, std::move(transfer.response)) == Next::GoOn;
  };
  for (;;) {
    while (goesOn && next < count && !handles_->idle.empty()) {
      Transfer& transfer = *handles_->idle.back();
      handles_->idle.pop_back();
      handles_->underWay.push_back(&transfer);
      transfer.begin(makeRequest(next), next);
      ++next;
      if (const auto done = login(transfer); done) {
        handles_->start(transfer);
      } else {
        transfer.response.error = done.error().description;
        end(transfer);
      }
    }
    if (handles_->underWay.empty()) return;
    const auto [transfer, code] = handles_->nextFinished(settings_.interruption);
    if (transfer) {
      handles_->stop(*transfer);
      transfer->finish(code, settings_.patience);
      if (isToBeSentAgain(*transfer)) {
        handles_->start(*transfer);
      } else {
        end(*transfer);
      }
    } else if (isReadable(settings_.interruption)) {
      goesOn = false;
      while (!handles_->underWay.empty()) {
        Transfer& last = *handles_->underWay.back();
        handles_->stop(last);
        last.response = {};
        last.response.error = "this was ended before the server had answered";
        end(last);
      }
    }
  }
}

/// Makes a request ready, with the name and the password where they may go.
Result<void> CurlWebDAVClient::login(Transfer& transfer) {
  CURL* const handle = transfer.handle();
  const std::string& address = transfer.response.address;
  transfer.passwordNumber = 0;
  set(handle, CURLOPT_USERNAME, nullptr);
  set(handle, CURLOPT_PASSWORD, nullptr);
  if (!settings_.user.empty() && mayShareSecrets(settings_.address, address)) {
    if (!isPrivateAddress(address))
      return NSError{NSError::Kind::Unsupported,
                     "the password would go to " + originOfAddress(address) +
                         " unencrypted; name the server by an address that begins with https://"};
    if (!password_) {
      auto password = settings_.password();
      if (!password) return password.error();
      password_ = std::move(password).value();
      ++passwordNumber_;
    }
    transfer.passwordNumber = passwordNumber_;
    set(handle, CURLOPT_USERNAME, settings_.user.c_str());
    set(handle, CURLOPT_PASSWORD, password_->c_str());
    set(handle, CURLOPT_HTTPAUTH, authentication_);
  }
  transfer.ready();
  return {};
}

/// Follows a redirection, or logs in with a password that has been changed.
bool CurlWebDAVClient::isToBeSentAgain(Transfer& transfer) {
  auto& response = transfer.response;
  long offered = 0;
  curl_easy_getinfo(transfer.handle(), CURLINFO_HTTPAUTH_AVAIL, &offered);
  // From now on without asking first.
  if (transfer.passwordNumber && response.isSuccess() && (offered & authentication_))
    authentication_ = offered & CURLAUTH_DIGEST ? CURLAUTH_DIGEST : CURLAUTH_BASIC;
  if (isRedirection(response.status)) return follow(transfer);
  if (response.status != 401) return false;
  if (!transfer.passwordNumber) {
    const std::string origin = originOfAddress(response.address);
    response.status = 0;
    response.error =
        settings_.user.empty()
            ? origin +
                  " wants to know who asks; name the person with --user, and where the "
                  "password comes from with --password-command or --password-file"
            : "the password for " + originOfAddress(settings_.address) + " is not given to " +
                  origin + ", which asks for one; connect that address if it is right";
    return false;
  }
  if (transfer.passwordNumber == passwordNumber_) {
    if (!std::exchange(mayAskForPassword_, false)) return false;
    auto password = settings_.password();
    if (!password || password.value() == *password_) return false;
    password_ = std::move(password).value();
    ++passwordNumber_;
    authentication_ = CURLAUTH_BASIC | CURLAUTH_DIGEST;
  }
  return static_cast<bool>(login(transfer));
}

/// Where it does not, the answer is the redirection itself or says why.
bool CurlWebDAVClient::follow(Transfer& transfer) {
  auto& response = transfer.response;
  const auto target = resolvedAddress(response.address, transfer.location());
  if (!target) return false;
  std::string problem;
  if (++transfer.redirections > kMostRedirections) {
    problem = " redirects from one address to the next without end";
  } else if (response.address.starts_with("https:") && !target->starts_with("https:")) {
    problem =
        " redirects to the unencrypted " + originOfAddress(*target) + ", which is not followed";
  }
  if (problem.empty()) {
    response.address = *target;
    const auto done = login(transfer);
    if (done) return true;
    response.error = done.error().description;
  } else {
    response.error = originOfAddress(response.address) + problem;
  }
  response.status = 0;
  return false;
}

extern "C" __attribute__((visibility("default"))) WebDAVClient* tasklane_make_webdav_client(
    WebDAVClient::Settings settings) {
  return std::make_unique<CurlWebDAVClient>(std::move(settings)).release();
}

}  // namespace tasklane
