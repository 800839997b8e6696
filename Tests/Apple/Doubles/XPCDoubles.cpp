// XPC within one process. Misuse of what the documentation forbids ends the program; what it leaves open comes in the
// least convenient way: events before replies, and everything later.

#include <Block.h>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Apple/Doubles/Pump.h"
#include "xpc/xpc.h"

struct XPCType {};
struct DoubleQueue {};

namespace {

using halcyra::test::Pump;
using halcyra::test::require;

const XPCType types[11]{};

struct XPCObject {
  explicit XPCObject(xpc_type_t ofType) : type(ofType) { live().insert(this); }
  virtual ~XPCObject() { live().erase(this); }
  XPCObject(const XPCObject&) = delete;
  XPCObject& operator=(const XPCObject&) = delete;
  static std::set<const void*>& live() {
    static std::set<const void*> objects;
    return objects;
  }

  xpc_type_t type;
  int references = 1;
  std::int64_t integer = 0;
  double number = 0;
  std::string text;
  std::vector<std::pair<std::string, XPCObject*>> entries;
  /// Of a message that waits for its reply, and of that reply.
  XPCConnection* sender = nullptr;
  std::uint64_t call = 0;
  bool isUsedUp = false;
};

XPCObject* object(xpc_object_t value) {
  require(value == nullptr || XPCObject::live().contains(value), "an object is used after its last release");
  return static_cast<XPCObject*>(value);
}

struct QueueRecord {
  static std::set<dispatch_queue_t>& live() {
    static std::set<dispatch_queue_t> queues;
    return queues;
  }
};

bool signatureFits = true;
xpc_connection_t listenerOf = nullptr;
std::set<xpc_connection_t> connections;

}  // namespace

struct XPCConnection : XPCObject {
  XPCConnection() : XPCObject(XPC_TYPE_CONNECTION) { connections.insert(this); }
  ~XPCConnection() override {
    require(isResumed, "a connection is released before it was resumed");
    connections.erase(this);
    if (handler != nullptr) Block_release(handler);
  }

  void post(xpc_object_t event) {
    xpc_retain(this);
    Pump::work().push_back([this, event] {
      if (handler != nullptr && !isDead) handler(event);
      if (event == XPC_ERROR_CONNECTION_INVALID && handler != nullptr) {
        Block_release(std::exchange(handler, nullptr));
        xpc_release(this);
      }
      xpc_release(this);
    });
  }
  void failCalls(xpc_object_t error) {
    for (const auto& [id, reply] : std::exchange(calls, {})) answerLater(reply, error);
  }
  static void answerLater(xpc_handler_t reply, xpc_object_t value) {
    Pump::work().push_back([reply, value] {
      reply(value);
      Block_release(reply);
    });
  }
  /// The connection itself is over.
  void invalidate() {
    if (std::exchange(isCancelled, true)) return;
    post(XPC_ERROR_CONNECTION_INVALID);
    failCalls(XPC_ERROR_CONNECTION_INVALID);
    if (listenerOf == this) listenerOf = nullptr;
  }
  /// The other end is gone.
  void lostPeer() {
    peer = nullptr;
    if (isServerEnd) return invalidate();
    post(XPC_ERROR_CONNECTION_INTERRUPTED);
    failCalls(XPC_ERROR_CONNECTION_INTERRUPTED);
  }
  XPCConnection* findPeer();

  xpc_handler_t handler = nullptr;
  bool isListener = false;
  bool isServerEnd = false;
  bool isResumed = false;
  bool isCancelled = false;
  /// Of a process that was killed.
  bool isDead = false;
  bool isGuarded = false;
  XPCConnection* peer = nullptr;
  std::map<std::uint64_t, xpc_handler_t> calls;
};

XPCConnection* XPCConnection::findPeer() {
  if (peer == nullptr && listenerOf != nullptr) {
    peer = new XPCConnection;
    peer->isServerEnd = true;
    peer->peer = this;
    listenerOf->post(peer);
  }
  return peer;
}

namespace halcyra::test {

std::deque<std::function<void()>>& Pump::work() {
  static std::deque<std::function<void()>> list;
  return list;
}

void Pump::run() {
  while (!work().empty()) {
    const auto next = std::move(work().front());
    work().pop_front();
    next();
  }
}

void require(bool condition, const char* rule) {
  if (condition) return;
  std::fprintf(stderr, "misuse: %s\n", rule);
  std::abort();
}

void XPCSystem::killHelper() {
  for (XPCConnection* const each : connections) {
    if (!each->isListener && !each->isServerEnd) continue;
    each->isDead = true;
    if (each == listenerOf) listenerOf = nullptr;
    if (each->peer != nullptr) std::exchange(each->peer, nullptr)->lostPeer();
  }
}

void XPCSystem::removeService() {
  for (XPCConnection* const each : std::set(connections)) {
    each->peer = nullptr;
    each->invalidate();
  }
}

void XPCSystem::setSignatureFits(bool fits) {
  signatureFits = fits;
}

std::size_t XPCSystem::liveObjects() {
  return XPCObject::live().size();
}

}  // namespace halcyra::test

dispatch_queue_t dispatch_queue_create(const char*, const void*) {
  return *QueueRecord::live().insert(new DoubleQueue).first;
}
void dispatch_release(dispatch_queue_t queue) {
  require(QueueRecord::live().erase(queue) == 1, "a queue is released twice");
  delete queue;
}
void dispatch_async_f(dispatch_queue_t, void* context, dispatch_function_t work) {
  Pump::work().push_back([context, work] { work(context); });
}
void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  require(QueueRecord::live().contains(queue), "work for a queue that is gone");
  work(context);
}

const xpc_type_t XPC_TYPE_NULL = &types[0], XPC_TYPE_BOOL = &types[1], XPC_TYPE_INT64 = &types[2],
                 XPC_TYPE_UINT64 = &types[3], XPC_TYPE_DOUBLE = &types[4], XPC_TYPE_STRING = &types[5],
                 XPC_TYPE_ARRAY = &types[6], XPC_TYPE_DICTIONARY = &types[7], XPC_TYPE_CONNECTION = &types[8],
                 XPC_TYPE_ERROR = &types[9], XPC_TYPE_DATA = &types[10];
const xpc_object_t XPC_ERROR_CONNECTION_INTERRUPTED = new XPCObject(XPC_TYPE_ERROR),
                   XPC_ERROR_CONNECTION_INVALID = new XPCObject(XPC_TYPE_ERROR),
                   XPC_ERROR_PEER_CODE_SIGNING_REQUIREMENT = new XPCObject(XPC_TYPE_ERROR);

xpc_object_t xpc_retain(xpc_object_t value) {
  ++object(value)->references;
  return value;
}
void xpc_release(xpc_object_t value) {
  XPCObject* const self = object(value);
  if (--self->references > 0) return;
  for (const auto& [key, each] : self->entries) xpc_release(each);
  delete self;
}
xpc_type_t xpc_get_type(xpc_object_t value) {
  return object(value)->type;
}

namespace {

XPCObject* make(xpc_type_t type, std::int64_t integer = 0, double number = 0, std::string text = {}) {
  auto* const made = new XPCObject(type);
  made->integer = integer;
  made->number = number;
  made->text = std::move(text);
  return made;
}

XPCObject* checked(xpc_object_t value, xpc_type_t type) {
  require(object(value)->type == type, "a value is read as one of another type");
  return object(value);
}

}  // namespace

xpc_object_t xpc_null_create() {
  return make(XPC_TYPE_NULL);
}
xpc_object_t xpc_bool_create(bool value) {
  return make(XPC_TYPE_BOOL, value ? 1 : 0);
}
xpc_object_t xpc_int64_create(std::int64_t value) {
  return make(XPC_TYPE_INT64, value);
}
xpc_object_t xpc_uint64_create(std::uint64_t value) {
  return make(XPC_TYPE_UINT64, static_cast<std::int64_t>(value));
}
xpc_object_t xpc_double_create(double value) {
  return make(XPC_TYPE_DOUBLE, 0, value);
}
xpc_object_t xpc_string_create(const char* text) {
  return make(XPC_TYPE_STRING, 0, 0, text);
}
xpc_object_t xpc_array_create(const xpc_object_t*, std::size_t) {
  return make(XPC_TYPE_ARRAY);
}
xpc_object_t xpc_dictionary_create(const char* const*, const xpc_object_t*, std::size_t) {
  return make(XPC_TYPE_DICTIONARY);
}
bool xpc_bool_get_value(xpc_object_t value) {
  return checked(value, XPC_TYPE_BOOL)->integer != 0;
}
std::int64_t xpc_int64_get_value(xpc_object_t value) {
  return checked(value, XPC_TYPE_INT64)->integer;
}
std::uint64_t xpc_uint64_get_value(xpc_object_t value) {
  return static_cast<std::uint64_t>(checked(value, XPC_TYPE_UINT64)->integer);
}
double xpc_double_get_value(xpc_object_t value) {
  return checked(value, XPC_TYPE_DOUBLE)->number;
}
const char* xpc_string_get_string_ptr(xpc_object_t value) {
  return checked(value, XPC_TYPE_STRING)->text.c_str();
}
std::size_t xpc_string_get_length(xpc_object_t value) {
  return checked(value, XPC_TYPE_STRING)->text.size();
}
std::size_t xpc_array_get_count(xpc_object_t array) {
  return checked(array, XPC_TYPE_ARRAY)->entries.size();
}
xpc_object_t xpc_array_get_value(xpc_object_t array, std::size_t index) {
  return checked(array, XPC_TYPE_ARRAY)->entries.at(index).second;
}
void xpc_array_append_value(xpc_object_t array, xpc_object_t value) {
  checked(array, XPC_TYPE_ARRAY)->entries.emplace_back("", object(xpc_retain(value)));
}
xpc_object_t xpc_dictionary_get_value(xpc_object_t dictionary, const char* key) {
  for (const auto& [name, value] : checked(dictionary, XPC_TYPE_DICTIONARY)->entries) {
    if (name == key) return value;
  }
  return nullptr;
}
void xpc_dictionary_set_value(xpc_object_t dictionary, const char* key, xpc_object_t value) {
  require(xpc_dictionary_get_value(dictionary, key) == nullptr, "an entry of a message is set twice");
  object(dictionary)->entries.emplace_back(key, object(xpc_retain(value)));
}
bool xpc_dictionary_apply(xpc_object_t dictionary, bool (^each)(const char* key, xpc_object_t value)) {
  for (const auto& [key, value] : checked(dictionary, XPC_TYPE_DICTIONARY)->entries) {
    if (!each(key.c_str(), value)) return false;
  }
  return true;
}
xpc_object_t xpc_dictionary_create_reply(xpc_object_t message) {
  XPCObject* const asked = checked(message, XPC_TYPE_DICTIONARY);
  if (asked->call == 0) return nullptr;
  require(!std::exchange(asked->isUsedUp, true), "two replies are made for one message");
  XPCObject* const reply = make(XPC_TYPE_DICTIONARY);
  reply->call = asked->call;
  reply->sender = asked->sender;
  return reply;
}
xpc_connection_t xpc_dictionary_get_remote_connection(xpc_object_t message) {
  return object(message)->sender;
}

xpc_connection_t xpc_connection_create_mach_service(const char*, dispatch_queue_t, std::uint64_t flags) {
  auto* const made = new XPCConnection;
  made->isListener = (flags & XPC_CONNECTION_MACH_SERVICE_LISTENER) != 0;
  return made;
}
void xpc_connection_set_target_queue(xpc_connection_t connection, dispatch_queue_t) {
  require(!connection->isResumed, "the queue of a connection is changed while it runs");
}
void xpc_connection_set_event_handler(xpc_connection_t connection, xpc_handler_t handler) {
  require(!connection->isResumed && connection->handler == nullptr, "a connection has one handler from its start");
  connection->handler = Block_copy(handler);
}
int xpc_connection_set_peer_code_signing_requirement(xpc_connection_t connection, const char*) {
  require(!connection->isResumed && !std::exchange(connection->isGuarded, true), "a requirement is set once, first");
  return 0;
}
void xpc_connection_resume(xpc_connection_t connection) {
  require(connection->handler != nullptr, "a connection is resumed without a handler");
  require(!std::exchange(connection->isResumed, true), "a connection is resumed twice");
  // The system's own, until the connection has become invalid.
  xpc_retain(connection);
  if (connection->isListener) listenerOf = connection;
  if (connection->isServerEnd) xpc_release(connection);
}
void xpc_connection_cancel(xpc_connection_t connection) {
  object(connection);
  if (connection->isCancelled) return;
  connection->invalidate();
  if (connection->peer != nullptr && !connection->isDead) {
    XPCConnection* const other = std::exchange(connection->peer, nullptr);
    other->lostPeer();
  }
}
void xpc_connection_send_message(xpc_connection_t connection, xpc_object_t message) {
  XPCObject* const reply = checked(message, XPC_TYPE_DICTIONARY);
  require(reply->call != 0 && !std::exchange(reply->isUsedUp, true), "a reply is sent twice");
  if (object(connection); connection->peer == nullptr || connection->isDead) return;
  const auto call = connection->peer->calls.extract(reply->call);
  if (!call) return;
  xpc_retain(message);
  XPCConnection::answerLater(call.mapped(), message);
  Pump::work().push_back([message] { xpc_release(message); });
}
void xpc_connection_send_message_with_reply(xpc_connection_t connection, xpc_object_t message, dispatch_queue_t,
                                            xpc_handler_t handler) {
  static std::uint64_t lastCall = 0;
  require(object(connection) != nullptr && connection->isResumed, "a message is sent before the connection runs");
  const auto reply = Block_copy(handler);
  if (connection->isGuarded && !signatureFits) {
    return XPCConnection::answerLater(reply, XPC_ERROR_PEER_CODE_SIGNING_REQUIREMENT);
  }
  if (connection->isCancelled) return XPCConnection::answerLater(reply, XPC_ERROR_CONNECTION_INVALID);
  connection->calls.emplace(++lastCall, reply);
  XPCConnection* const peer = connection->findPeer();
  if (peer == nullptr) return connection->invalidate();
  XPCObject* const sent = object(xpc_retain(message));
  sent->call = lastCall;
  sent->sender = peer;
  xpc_retain(peer);
  Pump::work().push_back([peer, sent] {
    if (peer->handler != nullptr && !peer->isDead) peer->handler(sent);
    xpc_release(sent);
    xpc_release(peer);
  });
}
uid_t xpc_connection_get_euid(xpc_connection_t) {
  return halcyra::test::XPCSystem::userID;
}
pid_t xpc_connection_get_pid(xpc_connection_t) {
  return halcyra::test::XPCSystem::processID;
}
