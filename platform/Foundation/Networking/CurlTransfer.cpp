// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/CurlTransfer.h"

#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <new>
#include <string_view>
#include <utility>

#include "Foundation/Networking/URLCompletion.h"

namespace oq {

namespace {

constexpr const char* kUserAgent = "OQSDK/" OQSDK_VERSION;
constexpr double kUsualTimeout = 60.0;
constexpr std::size_t kLongestHead = 256 << 10;
constexpr std::size_t kUsualBody = 1 << 20;

/// Call it only for a transfer that has a handle: libcurl has been loaded then.
const CurlLibrary& curl() {
  return *CurlLibrary::shared();
}

std::string hostOf(const std::string& address) {
  auto begin = address.find("//");
  if (begin == std::string::npos) return "";
  auto authority = address.substr(begin + 2, address.find_first_of("/?#", begin + 2) - begin - 2);
  return authority.substr(authority.rfind('@') + 1);
}

/// The file named by SSL_CERT_FILE, or "". Called on the thread that makes the request, not on a thread of the library:
/// a program that changes its environment can avoid that during its own calls, but knows nothing of our threads.
std::string namedAuthorities() {
  const char* file = getenv("SSL_CERT_FILE");
  return file ? file : "";
}

/// The file named by SSL_CERT_FILE if its certificates must be added to those in the system's folder, otherwise empty.
/// The system's own bundle adds nothing, and reading it again would cost each connection 30 ms.
std::string readableAuthorities(const std::string& file) {
  if (file.empty() || access(file.c_str(), R_OK) != 0) return "";
  const char* bundle = curl().versionInfo(CURLVERSION_NOW)->cainfo;
  std::error_code failed;
  if (bundle && std::filesystem::equivalent(file, bundle, failed) && !failed) return "";
  return file;
}

/// The result of readableAuthorities(), but the file is checked at most once per second.
const std::string& additionalAuthorities(const std::string& file) {
  struct Known {
    std::string file, authorities;
    CurlTransfer::Clock::time_point until;
  };
  thread_local Known known;
  const auto now = CurlTransfer::Clock::now();
  if (known.file != file || now >= known.until) {
    known = {file, readableAuthorities(file), now + std::chrono::seconds(1)};
  }
  return known.authorities;
}

bool hasFolderOfAuthorities() {
  static const bool hasFolder = curl().versionInfo(CURLVERSION_NOW)->capath != nullptr;
  return hasFolder;
}

bool isToken(std::string_view text) {
  auto isTokenCharacter = [](char c) { return c > ' ' && c < 0x7f && !std::strchr("\"(),/:;<=>?@[\\]{}", c); };
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool isFieldValue(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool hasCredentials(const URLRequest& request) {
  return std::any_of(request.headerFields().begin(), request.headerFields().end(), [](const auto& field) {
    return strcasecmp(field.first.c_str(), "Authorization") == 0 || strcasecmp(field.first.c_str(), "Cookie") == 0;
  });
}

std::chrono::milliseconds timeoutOf(const URLRequest& request) {
  double seconds = request.timeoutInterval();
  if (!(seconds > 0)) seconds = kUsualTimeout;
  return std::chrono::milliseconds(static_cast<std::int64_t>(std::min(seconds, 86400.0) * 1000));
}

}  // namespace

CurlTransfer::CurlTransfer(URLRequest request, URLCompletion completion, CurlConnections& connections,
                           std::size_t longestBody, std::chrono::milliseconds wholeTime)
    : _request(std::move(request)),
      _completion(std::move(completion)),
      _connections(connections),
      _longestBody(longestBody),
      _latestEnd(Clock::now() + wholeTime),
      _host(hostOf(_request.url()->absoluteString())),
      _namedAuthorities(namedAuthorities()) {}

CurlTransfer::~CurlTransfer() {
  if (_headerLines) curl().listFreeAll(_headerLines);
}

void CurlTransfer::prepare(CURL* handle) {
  _handle = handle;
  _lastByte = Clock::now();
  curl().set<CURLOPT_URL>(handle, _request.url()->absoluteString().c_str());
  curl().set<CURLOPT_PROTOCOLS_STR>(handle, "https");
  curl().set<CURLOPT_REDIR_PROTOCOLS_STR>(handle, "https");
  curl().set<CURLOPT_HTTP_VERSION>(handle, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl().set<CURLOPT_FOLLOWLOCATION>(handle, 1L);
  curl().set<CURLOPT_MAXREDIRS>(handle, _redirectsLeft);
  curl().set<CURLOPT_USERAGENT>(handle, kUserAgent);
  curl().set<CURLOPT_NOSIGNAL>(handle, 1L);
  curl().set<CURLOPT_QUICK_EXIT>(handle, 1L);  // a slow name server delays no other transfer
  curl().set<CURLOPT_TCP_NODELAY>(handle, 1L);
  curl().set<CURLOPT_ACCEPT_ENCODING>(handle, "gzip, deflate");
  curl().set<CURLOPT_SUPPRESS_CONNECT_HEADERS>(handle, 1L);
  curl().set<CURLOPT_ERRORBUFFER>(handle, _message);
  curl().set<CURLOPT_WRITEFUNCTION>(handle, &onBody);
  curl().set<CURLOPT_WRITEDATA>(handle, this);
  curl().set<CURLOPT_HEADERFUNCTION>(handle, &onHeader);
  curl().set<CURLOPT_HEADERDATA>(handle, this);
  curl().set<CURLOPT_XFERINFOFUNCTION>(handle, &onProgress);
  curl().set<CURLOPT_XFERINFODATA>(handle, this);
  curl().set<CURLOPT_NOPROGRESS>(handle, 0L);
  curl().set<CURLOPT_PREREQFUNCTION>(handle, &onRequest);
  curl().set<CURLOPT_PREREQDATA>(handle, this);
  _connections.observe(handle);
  setAuthorities();
  setMethodAndBody();
  setHeaderFields();
}

bool CurlTransfer::prepareAgain() {
  if (!std::exchange(_isConnectionUnusable, false)) return false;
  *_message = '\0';
  long redirects = 0;
  const char *address = nullptr, *method = nullptr;
  curl().easyGetInfo(_handle, CURLINFO_REDIRECT_COUNT, &redirects);
  curl().easyGetInfo(_handle, CURLINFO_EFFECTIVE_URL, &address);
  curl().easyGetInfo(_handle, CURLINFO_EFFECTIVE_METHOD, &method);
  if (redirects == 0) return true;
  // The transfer continues at the redirect's target. From the first address, libcurl would repeat the requests that
  // were answered by redirects. A request with credentials fails instead, because libcurl would send the credentials to
  // the target as if they belonged to it.
  if (!address || !method || hasCredentials(_request)) return false;
  const bool isFetch = std::string_view(method) == "GET";
  const std::string target = address;  // copied: setting the URL frees the string that libcurl returned
  curl().set<CURLOPT_URL>(_handle, target.c_str());
  if (isFetch) curl().set<CURLOPT_HTTPGET>(_handle, 1L);
  _redirectsLeft -= redirects;
  curl().set<CURLOPT_MAXREDIRS>(_handle, _redirectsLeft);
  return true;
}

void CurlTransfer::setAuthorities() {
  curl().set<CURLOPT_SSL_VERIFYPEER>(_handle, 1L);
  curl().set<CURLOPT_SSL_VERIFYHOST>(_handle, 2L);
  const std::string& extraAuthorities = additionalAuthorities(_namedAuthorities);
  if (!extraAuthorities.empty()) {
    curl().set<CURLOPT_CAINFO>(_handle, extraAuthorities.c_str());
  } else if (hasFolderOfAuthorities()) {
    curl().set<CURLOPT_CAINFO>(_handle, nullptr);  // no bundle: the folder suffices, its files are read only as needed
  }
}

void CurlTransfer::setMethodAndBody() {
  const std::string method = isToken(_request.httpMethod()) ? _request.httpMethod() : "GET";
  const auto& body = _request.httpBody();
  if (method == "POST") {
    curl().set<CURLOPT_POST>(_handle, 1L);
  } else if (method == "HEAD") {
    curl().set<CURLOPT_NOBODY>(_handle, 1L);
    return;
  }
  if (method == "POST" || body) {
    // libcurl does not copy the body. It stays valid, because _request lives as long as this transfer uses the handle.
    bool isEmpty = !body || body->empty();
    curl().set<CURLOPT_POSTFIELDSIZE_LARGE>(_handle, static_cast<curl_off_t>(isEmpty ? 0 : body->size()));
    curl().set<CURLOPT_POSTFIELDS>(_handle, isEmpty ? "" : reinterpret_cast<const char*>(body->data()));
  }
  if (method != "POST" && (method != "GET" || body)) {
    curl().set<CURLOPT_CUSTOMREQUEST>(_handle, method.c_str());
  }
}

void CurlTransfer::setHeaderFields() {
  for (const auto& [name, value] : _request.headerFields()) {
    if (!isToken(name) || !isFieldValue(value)) continue;
    addHeaderLine(value.empty() ? name + ";" : name + ": " + value);
  }
  if (_request.cachePolicy() == URLRequestCachePolicy::ReloadIgnoringLocalAndRemoteCacheData) {
    addHeaderLine("Cache-Control: no-cache");
  }
  addHeaderLine("Expect:");  // sends a large body without waiting for "100 Continue"
  curl().set<CURLOPT_HTTPHEADER>(_handle, _headerLines);
}

void CurlTransfer::addHeaderLine(const std::string& line) {
  if (auto* longer = curl().listAppend(_headerLines, line.c_str())) _headerLines = longer;
}

std::size_t CurlTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* transfer) {
  auto& self = *static_cast<CurlTransfer*>(transfer);
  std::size_t length = size * count;
  return self.append(bytes, length) ? length : 0;
}

bool CurlTransfer::append(const char* bytes, std::size_t length) try {
  if (length > _longestBody - _body.size()) {
    _isTooLong = true;
    return false;
  }
  _lastByte = Clock::now();
  // Reserves the maximum at once: it takes address space, and memory only for what has arrived. Growing in steps would
  // hold the body twice while it is moved.
  bool isLarge = _body.size() + length > kUsualBody;
  if (isLarge && _body.capacity() < _longestBody) _body.reserve(_longestBody);
  _body.insert(_body.end(), bytes, bytes + length);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

std::size_t CurlTransfer::onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) {
  auto& self = *static_cast<CurlTransfer*>(transfer);
  self._lastByte = Clock::now();
  self._isAwaitingAnswer = false;
  std::string_view line(bytes, size * count);
  self._headLength += line.size();
  if (self._headLength > kLongestHead) {
    self._isTooLong = true;
    return 0;
  }
  if (line.starts_with("HTTP/")) self._isHeadComplete = false;
  const auto longestIdle = self._connection ? longestIdleOf(line) : std::nullopt;
  if (longestIdle) self._connection->longestIdle = std::min(self._connection->longestIdle, *longestIdle);
  if (line == "\r\n" || line == "\n") self._isHeadComplete = true;
  return line.size();
}

int CurlTransfer::onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
  auto& self = *static_cast<CurlTransfer*>(transfer);
  if (std::exchange(self._bytesSoFar, received + sent) != received + sent) self._lastByte = Clock::now();
  return 0;
}

/// Called before each request is sent, including those after a redirect. If the previous request has had no response,
/// libcurl is sending it again because a kept connection turned out to be dead. That is refused, because the server may
/// have read the request, and a request is sent at most once. Nothing of the new request has been written yet, so if
/// its connection is unusable, the request can move to another connection.
int CurlTransfer::onRequest(void* transfer, char* remoteAddress, char* localAddress, int remotePort, int localPort) {
  auto& self = *static_cast<CurlTransfer*>(transfer);
  if (self._isAwaitingAnswer) return CURL_PREREQFUNC_ABORT;
  self._connection = self._connections.find({remoteAddress, remotePort, localAddress, localPort});
  if (self._connection) {
    self._isConnectionUnusable = !self._connections.isUsable(*self._connection, self._handle);
    if (self._isConnectionUnusable) return CURL_PREREQFUNC_ABORT;
    self._connections.noteUse(*self._connection);
  }
  self._isAwaitingAnswer = true;
  self._lastByte = Clock::now();
  return CURL_PREREQFUNC_OK;
}

CurlTransfer::Clock::time_point CurlTransfer::deadline() const {
  return _lastByte ? std::min(*_lastByte + timeoutOf(_request), _latestEnd) : _latestEnd;
}

void CurlTransfer::complete(CURLcode result) {
  if (_connection) _connections.noteUse(*_connection);
  // libcurl accepts a truncated response head as complete.
  if (result == CURLE_OK && !_isHeadComplete) result = CURLE_PARTIAL_FILE;
  if (result != CURLE_OK) return completeWithError(errorCodeFor(result), descriptionOf(result));
  URLResponse response;
  long statusCode = 0;
  curl_off_t retryAfter = 0;
  const char* address = nullptr;
  curl().easyGetInfo(_handle, CURLINFO_RESPONSE_CODE, &statusCode);
  curl().easyGetInfo(_handle, CURLINFO_EFFECTIVE_URL, &address);
  curl().easyGetInfo(_handle, CURLINFO_RETRY_AFTER, &retryAfter);
  response.statusCode = statusCode;
  response.retryAfter = std::max<curl_off_t>(retryAfter, 0);
  response.url = address ? address : _request.url()->absoluteString();
  succeed(std::exchange(_completion, nullptr), std::move(_body), std::move(response));
}

void CurlTransfer::completeWithError(URLErrorCode code, std::string description) {
  fail(std::exchange(_completion, nullptr), code, std::move(description));
}

URLErrorCode CurlTransfer::errorCodeFor(CURLcode result) const {
  if (_isTooLong) return URLErrorBadServerResponse;
  if (result == CURLE_OPERATION_TIMEDOUT) return URLErrorTimedOut;
  if (_isAwaitingAnswer) {
    // libcurl reports a response that is not HTTP as an unsupported protocol. Every other error here, such as a failed
    // attempt to reconnect, is the result of a connection that ended before the response.
    bool isNoHTTP = result == CURLE_UNSUPPORTED_PROTOCOL || result == CURLE_WEIRD_SERVER_REPLY;
    return isNoHTTP ? URLErrorBadServerResponse : URLErrorNetworkConnectionLost;
  }
  switch (result) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      return URLErrorUnsupportedURL;
    case CURLE_URL_MALFORMAT:
      return URLErrorBadURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return URLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return URLErrorCannotConnectToHost;
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return URLErrorNetworkConnectionLost;
    case CURLE_TOO_MANY_REDIRECTS:
      return URLErrorHTTPTooManyRedirects;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return URLErrorBadServerResponse;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
      return URLErrorServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return URLErrorSecureConnectionFailed;
    default:
      return URLErrorUnknown;
  }
}

std::string CurlTransfer::descriptionOf(CURLcode result) const {
  if (_isTooLong) return "The answer is too long";
  if (result == CURLE_ABORTED_BY_CALLBACK) return "The connection was closed before an answer came";
  if (result == CURLE_OPERATION_TIMEDOUT) return "The request timed out";
  return *_message ? _message : curl().easyErrorText(result);
}

}  // namespace oq
