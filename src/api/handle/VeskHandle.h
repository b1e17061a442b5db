#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include <pxalog/Dictionary.h>
#include <pxalog/String.h>

#include "event/VeskEvent.h"

namespace pxa {

class VeskReachability;

/// Values of a handle's protocol.
inline constexpr std::int32_t kHttpsProtocol = 0;
inline constexpr std::int32_t kHttpProtocol = 1;

/// The record of one handle: a project, its collector, the caller's settings and the remote switches. The
/// same type serves once more as the process-wide network record, which alone uses reachability, isReachable
/// and networkType. Everything but the atomic switches is read and written under the global lock.
class VeskHandle {
 public:
  static constexpr std::size_t kCustomFieldsCapacity = 10;

  VeskHandle();
  ~VeskHandle();

  [[nodiscard]] const String& projectName() const { return projectName_; }
  void setProjectName(String value) { replace(projectName_, std::move(value)); }
  [[nodiscard]] const String& projectVersion() const { return projectVersion_; }
  void setProjectVersion(String value) { replace(projectVersion_, std::move(value)); }
  /// Collector address without its scheme.
  [[nodiscard]] const String& collectorUrl() const { return collectorUrl_; }
  void setCollectorUrl(String value) { collectorUrl_ = std::move(value); }
  [[nodiscard]] std::int64_t collectorPort() const { return collectorPort_; }
  void setCollectorPort(std::int64_t value) { collectorPort_ = value; }
  /// nil or "" for no user.
  [[nodiscard]] const String& userId() const { return userId_; }
  void setUserId(String value) { userId_ = std::move(value); }
  [[nodiscard]] const String& logType() const { return logType_; }
  void setLogType(String value) { replace(logType_, std::move(value)); }
  [[nodiscard]] const String& logSource() const { return logSource_; }
  void setLogSource(String value) { replace(logSource_, std::move(value)); }
  /// What an event of this handle, which is under that id, shares with the others.
  [[nodiscard]] const EventOriginRef& eventOrigin(const String& handleId);
  [[nodiscard]] const Dictionary& customFields() const { return customFields_; }
  /// For changes, before anything else is asked of the handle.
  [[nodiscard]] Dictionary& customFields() {
    customTexts_ = nullptr;
    return customFields_;
  }
  void setCustomFields(Dictionary value) { customFields() = std::move(value); }
  /// The custom fields as events carry them: those that are texts, as such. Not to be changed.
  [[nodiscard]] const Dictionary& customTexts();
  [[nodiscard]] const std::shared_ptr<VeskReachability>& reachability() const { return reachability_; }
  void setReachability(std::shared_ptr<VeskReachability> value) { reachability_ = std::move(value); }
  /// "Wi-Fi", "Cellular" or "NONE".
  [[nodiscard]] const String& networkType() const { return networkType_; }
  void setNetworkType(String value) { networkType_ = std::move(value); }
  /// kHttpsProtocol or kHttpProtocol.
  [[nodiscard]] std::int64_t protocol() const { return protocol_; }
  void setProtocol(std::int64_t value) { protocol_ = value; }

  [[nodiscard]] bool isReachable() const { return isReachable_; }
  void setIsReachable(bool value) { isReachable_ = value; }
  [[nodiscard]] bool isLog() const { return isLog_; }
  void setIsLog(bool value) { isLog_ = value; }
  [[nodiscard]] bool isSession() const { return isSession_; }
  void setIsSession(bool value) { isSession_ = value; }
  [[nodiscard]] bool isCrash() const { return isCrash_; }
  void setIsCrash(bool value) { isCrash_ = value; }
  [[nodiscard]] bool isNetworkInsight() const { return isNetworkInsight_; }
  void setIsNetworkInsight(bool value) { isNetworkInsight_ = value; }
  [[nodiscard]] bool isDeduplicate() const { return isDeduplicate_; }
  void setIsDeduplicate(bool value) { isDeduplicate_ = value; }
  [[nodiscard]] bool isSettings() const { return isSettings_; }
  void setIsSettings(bool value) { isSettings_ = value; }

 private:
  /// For what events share.
  void replace(String& member, String value) {
    member = std::move(value);
    eventOrigin_ = nullptr;
  }

  String projectName_;
  String projectVersion_;
  String collectorUrl_;
  std::int64_t collectorPort_ = 0;
  String userId_;
  String logType_;
  String logSource_;
  EventOriginRef eventOrigin_;  // made for the first event that wants it
  Dictionary customFields_{kCustomFieldsCapacity};
  Dictionary customTexts_ = nullptr;  // made when they are asked for
  std::shared_ptr<VeskReachability> reachability_;
  std::atomic<bool> isReachable_ = false;
  std::atomic<bool> isLog_ = true;
  std::atomic<bool> isSession_ = true;
  std::atomic<bool> isCrash_ = true;
  std::atomic<bool> isNetworkInsight_ = false;
  String networkType_;
  std::atomic<bool> isDeduplicate_ = true;
  std::atomic<bool> isSettings_ = false;
  std::int64_t protocol_ = 0;
};

using VeskHandleRef = std::shared_ptr<VeskHandle>;

}  // namespace pxa
