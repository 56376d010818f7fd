#pragma once

#include "delivery/caldav/WebDAVClient.h"

namespace tasklane {

class CurlWebDAVClient : public WebDAVClient {
 public:
  explicit CurlWebDAVClient(Settings settings);
  ~CurlWebDAVClient() override;

  void sendAll(std::size_t count, const MakeRequest& makeRequest,
               const OnResponse& onResponse) override;
  Result<Multistatus> multistatus(const WebDAVResponse& response) const override;
  bool namesCondition(const WebDAVResponse& response, const std::string& condition) const override;
  std::optional<std::string> resolved(const std::string& address,
                                      const std::string& reference) const override;

 private:
  class Transfer;
  struct Handles;
  Result<void> login(Transfer& transfer);
  bool isToBeSentAgain(Transfer& transfer);
  bool follow(Transfer& transfer);

  Settings settings_;
  std::unique_ptr<Handles> handles_;
  std::optional<std::string> password_;
  unsigned passwordNumber_ = 0;
  bool mayAskForPassword_ = true;  // once for each series of requests
  long authentication_;            // the ways of logging in that the server may want
};

}  // namespace tasklane
