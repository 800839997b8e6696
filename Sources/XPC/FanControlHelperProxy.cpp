#include "XPC/FanControlHelperProxy.h"

#include <utility>

#include "fmt/format.h"

#include "XPC/FanControlHelperSelector.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace Selector = FanControlHelperSelector;

FanControlHelperProxy::FanControlHelperProxy(std::shared_ptr<MachServiceConnection> connection,
                                             std::function<void(Error)> errorHandler)
    : connection_(std::move(connection)), errorHandler_(std::move(errorHandler)) {}

void FanControlHelperProxy::status(DictionaryReply reply) {
  send(Selector::status, PropertyList::array(), std::move(reply));
}

void FanControlHelperProxy::beginSession(const std::string& sessionID, DictionaryReply reply) {
  send(Selector::beginSession, PropertyList::array({sessionID}), std::move(reply));
}

void FanControlHelperProxy::heartbeat(const std::string& sessionID, ErrorReply reply) {
  send(Selector::heartbeat, PropertyList::array({sessionID}), std::move(reply));
}

void FanControlHelperProxy::setFanMode(std::int64_t fan, bool manual, const std::string& sessionID,
                                       DictionaryReply reply) {
  send(Selector::setFanMode, PropertyList::array({fan, manual, sessionID}), std::move(reply));
}

void FanControlHelperProxy::setFanTargetRPM(std::int64_t fan, std::int64_t rpm, const std::string& sessionID,
                                            DictionaryReply reply) {
  send(Selector::setFanTargetRPM, PropertyList::array({fan, rpm, sessionID}), std::move(reply));
}

void FanControlHelperProxy::resetAll(const std::string& sessionID, DictionaryReply reply) {
  send(Selector::resetAll, PropertyList::array({sessionID}), std::move(reply));
}

void FanControlHelperProxy::endSession(const std::string& sessionID, ErrorReply reply) {
  send(Selector::endSession, PropertyList::array({sessionID}), std::move(reply));
}

void FanControlHelperProxy::prepareForUninstall(ErrorReply reply) {
  send(Selector::prepareForUninstall, PropertyList::array(), std::move(reply));
}

void FanControlHelperProxy::send(std::string_view selector, PropertyList arguments, DictionaryReply reply) {
  call(selector, std::move(arguments),
       [selector = std::string(selector), reply = std::move(reply)](MachServiceReply answer) {
         if (!answer.value.is_object() && !answer.value.is_null()) {
           answer.value = nullptr;
           // What the helper reported is more use than that its answer was also malformed.
           if (!answer.error) {
             answer.error =
                 HelperXPCError::make(HelperXPCError::Code::internalFailure,
                                      fmt::format("The helper's answer to {} is not a dictionary.", selector));
           }
         }
         reply(std::move(answer.value), std::move(answer.error));
       });
}

void FanControlHelperProxy::send(std::string_view selector, PropertyList arguments, ErrorReply reply) {
  call(selector, std::move(arguments),
       [reply = std::move(reply)](MachServiceReply answer) { reply(std::move(answer.error)); });
}

void FanControlHelperProxy::call(std::string_view selector, PropertyList arguments,
                                 MachServiceConnection::ReplyHandler reply) {
  if (!connection_) {
    using HelperXPCError::Code;
    errorHandler_(HelperXPCError::make(Code::internalFailure, HelperXPCError::readableText(Code::internalFailure)));
    return;
  }
  connection_->call(std::string(selector), std::move(arguments), std::move(reply), errorHandler_);
}

}  // namespace halcyra
