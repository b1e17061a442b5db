#include "collector/HttpClient.h"

#include <arpa/inet.h>
#include <array>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace pxa::tools {
namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr timeval kRawPatience{10, 0};

std::size_t append(char* data, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

}  // namespace

HttpClient::HttpClient() : handle_(curl_easy_init()) {
  curl_easy_setopt(handle_.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle_.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(handle_.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(handle_.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION, append);
  setTimeout(kPatience);
}

void HttpClient::setTimeout(std::chrono::milliseconds timeout) {
  curl_easy_setopt(handle_.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
}

void HttpClient::trustOnly(const std::string& certificate) {
  curl_blob blob{const_cast<char*>(certificate.data()), certificate.size(), CURL_BLOB_COPY};
  curl_easy_setopt(handle_.get(), CURLOPT_CAINFO_BLOB, &blob);
  curl_easy_setopt(handle_.get(), CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(handle_.get(), CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(handle_.get(), CURLOPT_SSL_VERIFYHOST, 2L);
}

HttpResult HttpClient::get(const std::string& url) {
  curl_easy_setopt(handle_.get(), CURLOPT_HTTPGET, 1L);
  return perform(url);
}

HttpResult HttpClient::post(const std::string& url, const std::string& body) {
  curl_easy_setopt(handle_.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(handle_.get(), CURLOPT_POSTFIELDS, body.data());
  return perform(url);
}

HttpResult HttpClient::perform(const std::string& url) {
  HttpResult result;
  curl_easy_setopt(handle_.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle_.get(), CURLOPT_WRITEDATA, &result.body);
  result.code = curl_easy_perform(handle_.get());
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &result.status);
  return result;
}

RawClient::RawClient(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &kRawPatience, sizeof kRawPatience);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

RawClient::~RawClient() {
  ::close(socket_);
}

void RawClient::send(std::string_view bytes) {
  EXPECT_EQ(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

std::string RawClient::readToEnd() {
  std::string received;
  while (readMore(received)) {
  }
  return received;
}

std::string RawClient::readUntil(std::string_view end) {
  std::string received;
  while (!received.ends_with(end) && readMore(received)) {
  }
  return received;
}

bool RawClient::readMore(std::string& received) {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::recv(socket_, buffer.data(), buffer.size(), 0);
  if (count > 0) received.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace pxa::tools
