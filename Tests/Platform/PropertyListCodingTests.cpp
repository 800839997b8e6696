#include <limits>

#include "gtest/gtest.h"

#include "Platform/Linux/PropertyListCoding.h"
#include "Platform/PlatformTestSupport.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra::test {
namespace {

/// A message that is never sent: a signal of an object that nobody knows.
sdbus::Signal newMessage() {
  static const TemporaryFolder folder;
  static const PrivateBus bus(folder.path());
  static const auto connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
  static const auto object = sdbus::createObject(*connection, "/nowhere");
  return object->createSignal("a.b", "Nothing");
}

PropertyList nested(int depth) {
  PropertyList value = 1;
  for (int i = 0; i < depth; ++i) value = PropertyList::array({value});
  return value;
}

TEST(PropertyListCodingTests, ValuesComeBackAsTheyWere) {
  const std::vector<PropertyList> values = {
      nullptr,
      true,
      0,
      std::numeric_limits<std::int64_t>::min(),
      std::numeric_limits<std::int64_t>::max(),
      0.1,
      3000.0,
      std::numeric_limits<double>::infinity(),
      "Größe “°C” 🙂",
      {1, "two", nullptr, 4.5, true, PropertyList::array(), PropertyList::object()},
      {{"fans", {{{"index", 0}, {"controllable", true}}, {{"index", 1}}}}, {"fanCount", 2}, {"", nullptr}},
      nested(PropertyListCoding::maximumDepth),
  };
  for (const PropertyList& value : values) {
    SCOPED_TRACE(value.dump());
    auto message = newMessage();
    PropertyListCoding::append(message, value);
    message.seal();
    const PropertyList read = PropertyListCoding::read(message);
    EXPECT_EQ(read, value);
    EXPECT_EQ(read.is_number_float(), value.is_number_float()) << "an integer and a number were confused";
  }
}

TEST(PropertyListCodingTests, WhatCannotTravelIsRefusedBeforeAnythingIsWritten) {
  const std::vector<PropertyList> values = {
      std::numeric_limits<std::uint64_t>::max(),
      "\xC3(",
      std::string("a\0b", 3),
      {{"\xFF", 1}},
      PropertyList::binary({1}),
      nested(PropertyListCoding::maximumDepth + 1),
      PropertyList(std::vector<int>(PropertyListCoding::maximumValues, 1)),
      std::string(PropertyListCoding::maximumStringLength + 1, 'x'),
  };
  for (const PropertyList& value : values) {
    auto message = newMessage();
    EXPECT_THROW(PropertyListCoding::append(message, value), PropertyListCodingError);
    EXPECT_TRUE(message.isEmpty());
  }
}

template <typename... Parts>
void expectRefused(const char* what, const Parts&... parts) {
  auto message = newMessage();
  (message << ... << parts);
  message.seal();
  try {
    PropertyListCoding::read(message);
    ADD_FAILURE() << what << " was read";
  } catch (const PropertyListCodingError&) {
  } catch (const sdbus::Error&) {
  }
}

TEST(PropertyListCodingTests, ForeignMessagesAreRefused) {
  expectRefused("no variant", std::string("text"));
  expectRefused("bytes", sdbus::Variant(std::vector<std::uint8_t>{1}));
  expectRefused("a structure", sdbus::Variant(sdbus::make_struct(1, 2)));
  expectRefused("a number beyond 64 bits", sdbus::Variant(std::numeric_limits<std::uint64_t>::max()));
  expectRefused("a dictionary of integers",
                sdbus::Variant(std::map<std::int32_t, sdbus::Variant>{{1, sdbus::Variant(1)}}));
  sdbus::Variant deep(std::int64_t{1});
  for (int i = 0; i <= PropertyListCoding::maximumDepth; ++i) deep = sdbus::Variant(std::vector<sdbus::Variant>{deep});
  expectRefused("depth", deep);
  expectRefused("size",
                sdbus::Variant(std::vector<sdbus::Variant>(PropertyListCoding::maximumValues, sdbus::Variant(true))));

  auto nestedVariant = newMessage();
  nestedVariant.openVariant("v") << sdbus::Variant(1);
  nestedVariant.closeVariant();
  nestedVariant.seal();
  EXPECT_THROW(PropertyListCoding::read(nestedVariant), PropertyListCodingError);

  auto message = newMessage();
  message.openVariant("a{sv}").openContainer("{sv}");
  for (int i = 0; i < 2; ++i) {
    message.openDictEntry("sv");
    message << std::string("twice") << sdbus::Variant(i);
    message.closeDictEntry();
  }
  message.closeContainer().closeVariant();
  message.seal();
  EXPECT_THROW(PropertyListCoding::read(message), PropertyListCodingError);
}

TEST(PropertyListCodingTests, EveryIntegerTypeIsRead) {
  auto message = newMessage();
  message << sdbus::Variant(std::vector<sdbus::Variant>{
      sdbus::Variant(std::uint8_t{255}), sdbus::Variant(std::int16_t{-2}), sdbus::Variant(std::uint16_t{3}),
      sdbus::Variant(std::int32_t{-4}), sdbus::Variant(std::uint32_t{5}), sdbus::Variant(std::uint64_t{6})});
  message.seal();
  EXPECT_EQ(PropertyListCoding::read(message), PropertyList({255, -2, 3, -4, 5, 6}));
}

Error withInfo(Error error, const std::string& key, const std::string& value) {
  error.userInfo[key] = value;
  return error;
}

TEST(PropertyListCodingTests, ErrorsComeBackWhole) {
  const std::string helper = "com.norwick.Halcyra.helper";
  const std::vector<MachServiceReply> replies = {
      {nullptr, Error(helper, 5, "Fan 1 reads 7000 RPM — abnormal.")},
      {nullptr, Error(helper, -1, "negative")},
      {nullptr, Error(helper, 1, "")},
      {nullptr, Error("Name with blanks", 3, "text")},
      {nullptr, Error("", 3, "text")},
      {nullptr, Error("a..b", 3, "text")},
      {nullptr, Error("trailing.", 3, "text")},
      {nullptr, Error("1.starts.with.digit", 3, "text")},
      {nullptr, Error(std::string(300, 'd'), 3, "text")},
      {nullptr, Error("NoDots", 3, "text")},
      {nullptr, withInfo(Error(helper, 6, "text"), "NSDebugDescriptionErrorKey", "detail")},
      {{{"fanCount", 2}}, Error(helper, 99, "with a value beside it")},
  };
  for (const MachServiceReply& reply : replies) {
    SCOPED_TRACE(reply.error->domain + " " + std::to_string(reply.error->code));
    const sdbus::Error error = PropertyListCoding::errorFromReply(reply);
    EXPECT_LE(error.getName().size(), 255U);
    const MachServiceReply read = PropertyListCoding::replyFromError(error);
    EXPECT_EQ(read.error, reply.error);
    EXPECT_EQ(read.value, reply.value);
  }
  EXPECT_EQ(PropertyListCoding::errorFromReply(replies[0]).getName(), helper + ".Code5");
}

TEST(PropertyListCodingTests, ForeignErrorsKeepTheirName) {
  for (const char* name : {"org.freedesktop.DBus.Error.InvalidArgs", "a.Code", "a.Code-1", "a.Code1x",
                           "a.Code99999999999999999999", "halcyra.Error"}) {
    const auto read = PropertyListCoding::replyFromError(sdbus::Error(name, "what happened"));
    ASSERT_TRUE(read.error);
    EXPECT_EQ(*read.error, Error(name, 0, "what happened"));
    EXPECT_TRUE(read.value.is_null());
  }
  for (const char* text :
       {"{", "[]", R"({"domain": 1})", R"({"domain": "d", "code": "x", "userInfo": {}, "value": 1})"}) {
    EXPECT_EQ(PropertyListCoding::replyFromError(sdbus::Error("halcyra.Error", text)).error,
              Error("halcyra.Error", 0, text));
  }
}

}  // namespace
}  // namespace halcyra::test
