// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <deque>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "commend/commend_endpoint.h"
#include "commend/commend_log.h"
#include "facade_fixture.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using commend_test::OTHER;
using commend_test::OWN;
using support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr NUVOsapiRtpsGuidPrefix THIRD = {0x00000102, 0x03040506, 0x0708090C};
constexpr RTPSEntityId READER = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR;
constexpr RTPSEntityId WRITER = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;
constexpr RTPSEntityId OTHER_READER = RTPS_ENTITYID_SEDP_BUILTIN_PUBLICATIONS_DETECTOR;

RTPSHeader header_of(const NUVOsapiRtpsGuidPrefix &prefix) {
    return {{2, 4}, {{1, 99}}, prefix};
}

/** A message in the making. Whatever is added fits. */
class Message {
public:
    explicit Message(const NUVOsapiRtpsGuidPrefix &prefix = OTHER,
                     RTPSByteOrder order = RTPS_LITTLE_ENDIAN) {
        const RTPSHeader header = header_of(prefix);
        EXPECT_NE(
            RTPSMessageWriter_initialize(&writer_, room_.data(), room_.size(), order, &header), 0);
    }
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    Message &data(RTPSEntityId reader, RTPSSequenceNumber number = 1) {
        RTPSData data{};
        data.readerId = reader;
        data.writerId = WRITER;
        data.writerSN = number;
        return added(RTPSMessageWriter_addData(&writer_, &data));
    }
    Message &heartbeat(RTPSEntityId reader) {
        RTPSHeartbeat heartbeat{};
        heartbeat.readerId = reader;
        heartbeat.writerId = WRITER;
        heartbeat.firstSN = 1;
        heartbeat.count = 7;
        return added(RTPSMessageWriter_addHeartbeat(&writer_, &heartbeat));
    }
    Message &gap(RTPSEntityId reader) {
        RTPSGap gap{};
        gap.readerId = reader;
        gap.writerId = WRITER;
        gap.gapStart = 3;
        gap.gapList.base = 5;
        return added(RTPSMessageWriter_addGap(&writer_, &gap));
    }
    Message &ack_nack(RTPSEntityId writer) {
        RTPSAckNack ack_nack{};
        ack_nack.readerId = READER;
        ack_nack.writerId = writer;
        ack_nack.readerSNState.base = 1;
        ack_nack.count = 9;
        return added(RTPSMessageWriter_addAckNack(&writer_, &ack_nack));
    }
    Message &destination(const NUVOsapiRtpsGuidPrefix &prefix) {
        const RTPSInfoDestination info{prefix};
        return added(RTPSMessageWriter_addInfoDestination(&writer_, &info));
    }
    Message &source(const NUVOsapiRtpsGuidPrefix &prefix) {
        const RTPSInfoSource info{{{2, 1}, {{3, 4}}, prefix}};
        return added(RTPSMessageWriter_addInfoSource(&writer_, &info));
    }
    Message &timestamp(const RTPSTime &time) {
        const RTPSInfoTimestamp info{time};
        return added(RTPSMessageWriter_addInfoTimestamp(&writer_, &info));
    }
    Message &reply(const char *unicast, const char *multicast = nullptr) {
        RTPSInfoReply info{};
        const NUVNetioLocator to = net::locator(unicast);
        RTPSLocators_add(&info.unicast, &to, nullptr);
        if (multicast != nullptr) {
            const NUVNetioLocator group = net::locator(multicast);
            info.hasMulticast = 1;
            RTPSLocators_add(&info.multicast, &group, nullptr);
        }
        return added(RTPSMessageWriter_addInfoReply(&writer_, &info));
    }
    Message &reply_ip4(const char *unicast, const char *multicast) {
        const RTPSInfoReplyIp4 info{1, net::locator(unicast), net::locator(multicast)};
        return added(RTPSMessageWriter_addInfoReplyIp4(&writer_, &info));
    }
    Message &extension(NUV_UINT32 message_length) {
        RTPSHeaderExtension extension{};
        extension.hasMessageLength = 1;
        extension.messageLength = message_length;
        return added(RTPSMessageWriter_addHeaderExtension(&writer_, &extension));
    }
    Message &pad() {
        return added(RTPSMessageWriter_addPad(&writer_, 4));
    }

    std::string octets() const {
        return {reinterpret_cast<const char *>(room_.data()), writer_.length};
    }

private:
    Message &added(int is_added) {
        EXPECT_NE(is_added, 0);
        return *this;
    }

    std::array<NUV_UINT8, 1024> room_{};
    RTPSMessageWriter writer_{};
};

/** A submessage of a kind that nobody knows. */
std::string unknown_submessage(std::size_t length) {
    return std::string{'\x7E', '\x01', static_cast<char>(length), '\0'} + std::string(length, 'x');
}

std::string locators_text(const RTPSLocators &locators) {
    std::string text;
    for (NUV_UINT32 i = 0; i < locators.count; ++i) {
        std::array<char, NUV_NETIO_LOCATOR_STRING_SIZE> one{};
        EXPECT_GT(NUVNetioLocator_toString(&locators.locators[i], one.data(), one.size()), 0);
        text += std::string(" ") + one.data();
    }
    return text;
}

/** Writes down what it is handed, each call as a line. */
class Endpoint {
public:
    Endpoint(Facade &facade, RTPSEntityId entity_id) : facade_(facade) {
        endpoint.entityId = entity_id;
        endpoint.onData = [](void *param, const COMMENDMessageContext *context,
                             const RTPSData *data, REDAWorker *worker) {
            EXPECT_NE(worker, nullptr);
            note(param, *context, "data " + std::to_string(data->writerSN));
        };
        endpoint.onHeartbeat = [](void *param, const COMMENDMessageContext *context,
                                  const RTPSHeartbeat *heartbeat, REDAWorker *) {
            note(param, *context, "heartbeat " + std::to_string(heartbeat->count));
        };
        endpoint.onGap = [](void *param, const COMMENDMessageContext *context, const RTPSGap *gap,
                            REDAWorker *) {
            note(param, *context, "gap " + std::to_string(gap->gapStart));
        };
        endpoint.onAckNack = [](void *param, const COMMENDMessageContext *context,
                                const RTPSAckNack *ack_nack, REDAWorker *) {
            note(param, *context, "acknack " + std::to_string(ack_nack->count));
        };
        endpoint.param = this;
    }
    ~Endpoint() {
        EXPECT_TRUE(remove());
    }
    Endpoint(const Endpoint &) = delete;
    Endpoint &operator=(const Endpoint &) = delete;

    bool add() {
        return COMMENDFacade_addEndpoint(facade_.self, &endpoint) != 0;
    }
    bool remove() {
        return COMMENDFacade_removeEndpoint(facade_.self, &endpoint) != 0;
    }

    COMMENDEndpoint endpoint{};
    std::vector<std::string> calls;
    std::function<void()> then; // within each call

    static void note(void *param, const COMMENDMessageContext &context, std::string text) {
        auto *self = static_cast<Endpoint *>(param);
        const RTPSHeader &source = context.source;
        text += " of " + std::to_string(source.guidPrefix.instanceId & 0xFu);
        text += " " + std::to_string(source.version.major) + "." +
                std::to_string(source.version.minor) + " vendor " +
                std::to_string(source.vendorId.octets[0]) + "." +
                std::to_string(source.vendorId.octets[1]);
        if (context.byteOrder == RTPS_BIG_ENDIAN) {
            text += ", big endian";
        }
        if (context.isDirected != 0) {
            text += ", directed";
        }
        if (RTPSTime_isValid(&context.timestamp) != 0) {
            text += ", at " + std::to_string(context.timestamp.seconds);
        }
        if (context.reply != nullptr) {
            text += ", reply to" + locators_text(context.reply->unicast);
            if (context.reply->hasMulticast != 0) {
                text += " and" + locators_text(context.reply->multicast);
            }
        }
        self->calls.push_back(text);
        if (self->then) {
            self->then();
        }
    }

private:
    Facade &facade_;
};

/** How a call is noted that comes from OTHER and of which nothing else has been said. */
std::string plain(const std::string &what) {
    return what + " of 11 2.4 vendor 1.99";
}

class InterpreterTest : public testing::Test {
protected:
    void SetUp() override {
        facade.add(to);
        ASSERT_TRUE(reader.add());
    }

    static COMMENDActiveFacadeProperty property(bool enforces_alignment) {
        COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
        property.parent.guidPrefix = OWN;
        property.parent.interpreter.enforceSubmessageAlignment = enforces_alignment ? 1 : 0;
        return property;
    }

    /** Sends octets, and waits until they have been dealt with. */
    void send(const std::string &octets) {
        ASSERT_TRUE(sender.send_to(to, octets));
        ++sent;
        ASSERT_TRUE(net::eventually([&] { return facade.statistics().messagesReceived == sent; }));
        ASSERT_NE(NUVNetioRuntime_flush(runtime.runtime, &net::PLENTY), 0);
    }
    void send(const Message &message) {
        send(message.octets());
    }

    COMMENDInterpreterStatistics statistics() const {
        COMMENDInterpreterStatistics statistics{};
        COMMENDFacade_getInterpreterStatistics(facade.self, &statistics);
        return statistics;
    }

    explicit InterpreterTest(bool enforces_alignment = false)
        : facade(runtime, property(enforces_alignment)) {}

    net::TestClock clock; // by which lines of the log are limited
    net::Runtime runtime;
    const NUVNetioLocator to = net::locator("127.0.0.1", net::free_port());
    Facade facade;
    Endpoint reader{facade, READER};
    net::PlainSocket sender;
    NUV_UINT64 sent = 0;
};

TEST_F(InterpreterTest, DataGoesToTheReaderThatItIsFor) {
    Endpoint other(facade, OTHER_READER);
    ASSERT_TRUE(other.add());
    send(Message().data(READER, 5).data(OTHER_READER, 6));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 5")));
    EXPECT_THAT(other.calls, ElementsAre(plain("data 6")));
    EXPECT_EQ(statistics().handedOn, 2u);
}

TEST_F(InterpreterTest, WhatIsForAnUnknownReaderGoesToEach) {
    Endpoint other(facade, OTHER_READER);
    Endpoint for_all_others(facade, RTPS_ENTITYID_UNKNOWN);
    ASSERT_TRUE(other.add());
    ASSERT_TRUE(for_all_others.add());
    send(Message().data(RTPS_ENTITYID_UNKNOWN));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    EXPECT_THAT(other.calls, ElementsAre(plain("data 1")));
    EXPECT_THAT(for_all_others.calls, IsEmpty());
    EXPECT_EQ(statistics().handedOn, 1u);
}

TEST_F(InterpreterTest, HeartbeatsAndGapsGoToReaders) {
    send(Message().heartbeat(READER).gap(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("heartbeat 7"), plain("gap 3")));
}

TEST_F(InterpreterTest, AckNacksGoToWriters) {
    Endpoint writer(facade, WRITER);
    ASSERT_TRUE(writer.add());
    send(Message().ack_nack(WRITER));
    EXPECT_THAT(writer.calls, ElementsAre(plain("acknack 9")));
    EXPECT_THAT(reader.calls, IsEmpty());
}

TEST_F(InterpreterTest, WhatIsForNobodyIsCounted) {
    send(Message().data(OTHER_READER).ack_nack(WRITER));
    EXPECT_THAT(reader.calls, IsEmpty());
    EXPECT_EQ(statistics().unwanted, 2u);
    EXPECT_EQ(statistics().handedOn, 0u);
}

TEST_F(InterpreterTest, WhatIsForNobodyGoesToTheEndpointForAllOthers) {
    Endpoint for_all_others(facade, RTPS_ENTITYID_UNKNOWN);
    ASSERT_TRUE(for_all_others.add());
    send(Message().data(READER).ack_nack(WRITER));
    EXPECT_THAT(for_all_others.calls, ElementsAre(plain("acknack 9")));
}

TEST_F(InterpreterTest, WhatAnEndpointHasNoFunctionForIsUnwanted) {
    Endpoint deaf(facade, OTHER_READER);
    deaf.endpoint.onData = nullptr;
    deaf.endpoint.onHeartbeat = nullptr;
    deaf.endpoint.onGap = nullptr;
    ASSERT_TRUE(deaf.add());
    send(Message().data(OTHER_READER).heartbeat(OTHER_READER).gap(OTHER_READER));
    EXPECT_EQ(statistics().unwanted, 3u);
}

TEST_F(InterpreterTest, WhatIsDirectedAtOthersIsNotHandedOn) {
    send(Message().destination(THIRD).data(READER, 1).destination(OWN).data(READER, 2));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 2") + ", directed"));
    EXPECT_EQ(statistics().forOthers, 1u);
}

/** It hears of each message as a whole, too. */
class WholeMessageTest : public InterpreterTest {
protected:
    void SetUp() override {
        InterpreterTest::SetUp();
        whole.endpoint.onData = nullptr;
        whole.endpoint.onMessage = [](void *param, const COMMENDMessageContext *context,
                                      REDAWorker *) { Endpoint::note(param, *context, "message"); };
        ASSERT_TRUE(whole.add());
    }
    Endpoint whole{facade, WRITER};
};

TEST_F(WholeMessageTest, IsToldOfOnceAfterItsSubmessages) {
    whole.then = [this] { EXPECT_EQ(reader.calls.size(), 2u); };
    send(Message().data(READER, 1).data(READER, 2));
    EXPECT_THAT(whole.calls, ElementsAre(plain("message")));
}

TEST_F(WholeMessageTest, IsToldOfWhoeverItIsFor) {
    send(Message().destination(THIRD).data(READER, 1));
    EXPECT_EQ(whole.calls.size(), 1u);
}

TEST_F(WholeMessageTest, IsItsSendersWhateverIsInIt) {
    send(Message().source(THIRD).data(READER, 1));
    EXPECT_THAT(whole.calls, ElementsAre(plain("message")));
}

TEST_F(WholeMessageTest, IsNotToldOfWhenItIsInvalid) {
    std::string broken = Message().data(READER, 1).data(READER, 2).octets();
    broken.pop_back();
    send(broken);
    EXPECT_THAT(whole.calls, ElementsAre());
}

TEST_F(InterpreterTest, AnUnknownDestinationIsEverybody) {
    send(Message().destination(THIRD).destination({0, 0, 0}).data(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
}

TEST_F(InterpreterTest, ADestinationLastsForItsMessageOnly) {
    send(Message().destination(THIRD));
    send(Message().data(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
}

TEST_F(InterpreterTest, ATimestampHoldsUntilThereIsAnotherOne) {
    send(Message()
             .data(READER, 1)
             .timestamp({77, 0})
             .data(READER, 2)
             .data(READER, 3)
             .timestamp(RTPS_TIME_INVALID)
             .data(READER, 4));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1"), plain("data 2") + ", at 77",
                                          plain("data 3") + ", at 77", plain("data 4")));
}

TEST_F(InterpreterTest, AnotherSourceSaysEverythingAnew) {
    send(Message().timestamp({77, 0}).reply("udpv4://192.0.2.9:7410").source(THIRD).data(READER));
    EXPECT_THAT(reader.calls, ElementsAre("data 1 of 12 2.1 vendor 3.4"));
}

TEST_F(InterpreterTest, WhatItSaidItselfIsNotHandedOn) {
    send(Message().source(OWN).data(READER, 1).source(THIRD).data(READER, 2));
    EXPECT_THAT(reader.calls, ElementsAre("data 2 of 12 2.1 vendor 3.4"));
    EXPECT_EQ(statistics().fromSelf, 1u);
}

TEST_F(InterpreterTest, RepliesGoWhereTheMessageSays) {
    send(Message().reply("udpv4://192.0.2.9:7410").data(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1") + ", reply to udpv4://192.0.2.9:7410"));
}

TEST_F(InterpreterTest, RepliesGoWhereTheShortFormSays) {
    send(Message()
             .reply("udpv4://192.0.2.9:7410")
             .reply_ip4("udpv4://192.0.2.8:7412", "udpv4://239.255.0.2:7400")
             .data(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1") + ", reply to udpv4://192.0.2.8:7412" +
                                          " and udpv4://239.255.0.2:7400"));
}

TEST_F(InterpreterTest, BothByteOrdersAreRead) {
    send(Message(OTHER, RTPS_BIG_ENDIAN).data(READER, 5));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 5") + ", big endian"));
}

TEST_F(InterpreterTest, WhatIsNotKnownIsPassedOver) {
    const std::string data = Message().data(READER).octets();
    send(Message().pad().octets() + unknown_submessage(8) + data.substr(RTPS_HEADER_SIZE));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    EXPECT_EQ(statistics().passedOver, 2u);
}

TEST_F(InterpreterTest, AnExtensionOfTheHeaderMayGiveTheLength) {
    const auto length =
        static_cast<NUV_UINT32>(Message().extension(0).data(READER).octets().size());
    send(Message().extension(length).data(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    send(Message().extension(length + 4).data(READER));
    EXPECT_EQ(reader.calls.size(), 1u);
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_LENGTH], 1u);
}

TEST_F(InterpreterTest, ALengthThatLiesEndsTheMessage) {
    const std::string whole = Message().data(READER, 1).data(READER, 2).octets();
    send(whole.substr(0, whole.size() - 1));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_LENGTH], 1u);
    EXPECT_EQ(statistics().handedOn, 1u);
}

TEST_F(InterpreterTest, WhatCannotBeEndsTheMessage) {
    std::string wrong = Message().data(READER, 1).data(READER, 2).octets();
    wrong[RTPS_HEADER_SIZE + 4 + 16] = '\0'; // its sequence number is 0
    send(wrong);
    EXPECT_THAT(reader.calls, IsEmpty());
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_SEQUENCE_NUMBER], 1u);
}

TEST_F(InterpreterTest, OneLineASecondTellsOfWhatIsRefused) {
    const std::string whole = Message().data(READER, 1).octets();
    const LogCapture log;
    send(whole.substr(0, whole.size() - 1));
    send(whole.substr(0, whole.size() - 1));
    EXPECT_EQ(log.messagesOfOtherThreads().size(), 1u);
    clock.advance(1'000'000'000);
    send(whole.substr(0, whole.size() - 1));
    const support::Messages lines = log.messagesOfOtherThreads();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(lines[0].module, NUV_LOG_MODULE_COMMEND);
    EXPECT_EQ(lines[0].function, "receive");
    std::array<char, NUV_NETIO_LOCATOR_STRING_SIZE> from{};
    const NUVNetioLocator source = net::locator("127.0.0.1", sender.port());
    NUVNetioLocator_toString(&source, from.data(), from.size());
    EXPECT_EQ(lines[0].text, std::string("a message from ") + from.data() +
                                 " is not read to its end: it has a length that is not that of "
                                 "what follows");
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_LENGTH], 3u);
}

struct Invalid {
    const char *name;
    std::string submessage; // little endian
    RTPSRefusal reason;
};

std::ostream &operator<<(std::ostream &out, const Invalid &invalid) {
    return out << invalid.name;
}

std::string submessage(int kind, const std::string &body) {
    return std::string{static_cast<char>(kind), '\x01', static_cast<char>(body.size()), '\0'} +
           body;
}

/** Zeros, which are no valid number of anything that is counted from 1. */
std::string zeros(std::size_t length) {
    return std::string(length, '\0');
}

class InvalidSubmessageTest : public InterpreterTest,
                              public testing::WithParamInterface<Invalid> {};

TEST_P(InvalidSubmessageTest, EndsItsMessage) {
    const std::string data = Message().data(READER).octets().substr(RTPS_HEADER_SIZE);
    send(Message().octets() + GetParam().submessage + data);
    EXPECT_THAT(reader.calls, IsEmpty());
    EXPECT_EQ(statistics().refused[GetParam().reason], 1u);
    EXPECT_EQ(statistics().passedOver, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    All, InvalidSubmessageTest,
    testing::Values(Invalid{"InfoSource", submessage(0x0C, zeros(8)), RTPS_REFUSED_LENGTH},
                    Invalid{"InfoDestination", submessage(0x0E, zeros(8)), RTPS_REFUSED_LENGTH},
                    Invalid{"InfoTimestamp", submessage(0x09, zeros(4)), RTPS_REFUSED_LENGTH},
                    Invalid{"InfoReply", submessage(0x0F, zeros(2)), RTPS_REFUSED_LENGTH},
                    Invalid{"InfoReplyIp4", submessage(0x0D, zeros(4)), RTPS_REFUSED_LENGTH},
                    Invalid{"Heartbeat", submessage(0x07, zeros(28)), RTPS_REFUSED_SEQUENCE_NUMBER},
                    Invalid{"Gap", submessage(0x08, zeros(28)), RTPS_REFUSED_SEQUENCE_NUMBER},
                    Invalid{"AckNack", submessage(0x06, zeros(16) + "\x01" + zeros(7)),
                            RTPS_REFUSED_NUMBER_SET},
                    Invalid{"DataFrag", submessage(0x16, zeros(2) + "\x1C" + zeros(29)),
                            RTPS_REFUSED_SEQUENCE_NUMBER},
                    Invalid{"HeartbeatFrag", submessage(0x13, zeros(24)),
                            RTPS_REFUSED_SEQUENCE_NUMBER},
                    Invalid{"NackFrag", submessage(0x12, zeros(28)), RTPS_REFUSED_SEQUENCE_NUMBER}),
    [](const auto &test) { return test.param.name; });

TEST_F(InterpreterTest, WhatIsForOthersHasToBeRightAsWell) {
    std::string wrong = Message().destination(THIRD).data(READER).octets();
    wrong[RTPS_HEADER_SIZE + 16 + 4 + 16] = '\0'; // its sequence number is 0
    send(wrong);
    EXPECT_EQ(statistics().forOthers, 0u);
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_SEQUENCE_NUMBER], 1u);
}

TEST_F(InterpreterTest, AnExtensionOfTheHeaderIsItsFirstSubmessage) {
    send(Message().data(READER, 1).extension(60).data(READER, 2));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_PLACE], 1u);
}

/** A header extension with one parameter that is not known. */
std::string extension_with_parameter(const std::string &id) {
    return std::string("\x00\x81\x08\x00", 4) + id + std::string("\x00\x00\x01\x00\x00\x00", 6);
}

TEST_F(InterpreterTest, AParameterOfTheExtensionThatMustBeUnderstoodEndsTheMessage) {
    const std::string data = Message().data(READER).octets().substr(RTPS_HEADER_SIZE);
    send(Message().octets() + extension_with_parameter(std::string("\x00\x3F", 2)) + data);
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    send(Message().octets() + extension_with_parameter(std::string("\x00\x7F", 2)) + data);
    EXPECT_EQ(reader.calls.size(), 1u);
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_MUST_UNDERSTAND], 1u);
}

TEST_F(InterpreterTest, SubmessagesMayBeginAnywhere) {
    const std::string data = Message().data(READER).octets();
    send(Message().octets() + unknown_submessage(5) + data.substr(RTPS_HEADER_SIZE));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
}

class AligningInterpreterTest : public InterpreterTest {
protected:
    AligningInterpreterTest() : InterpreterTest(true) {}
};

TEST_F(AligningInterpreterTest, SubmessagesBeginAtAMultipleOfFour) {
    const std::string data = Message().data(READER).octets().substr(RTPS_HEADER_SIZE);
    send(Message().octets() + unknown_submessage(8) + data);
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
    send(Message().octets() + unknown_submessage(5) + data);
    EXPECT_EQ(reader.calls.size(), 1u);
    EXPECT_EQ(statistics().refused[RTPS_REFUSED_ALIGNMENT], 1u);
}

TEST_F(InterpreterTest, RepliesMayGoToAGroupAsWell) {
    send(Message()
             .reply("udpv4://192.0.2.9:7410", "udpv4://239.255.0.2:7400")
             .data(READER, 1)
             .reply("udpv4://192.0.2.9:7410")
             .data(READER, 2));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1") + ", reply to udpv4://192.0.2.9:7410" +
                                              " and udpv4://239.255.0.2:7400",
                                          plain("data 2") + ", reply to udpv4://192.0.2.9:7410"));
}

TEST_F(InterpreterTest, AReplyToNowhereIsNone) {
    const std::string data = Message().data(READER).octets().substr(RTPS_HEADER_SIZE);
    send(Message().octets() + submessage(0x0D, zeros(8)) + data);
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
}

TEST_F(InterpreterTest, AnAckNackIsOfOneWriter) {
    Endpoint writer(facade, WRITER);
    ASSERT_TRUE(writer.add());
    send(Message().ack_nack(RTPS_ENTITYID_UNKNOWN));
    EXPECT_THAT(writer.calls, IsEmpty());
    EXPECT_EQ(statistics().unwanted, 1u);
}

TEST_F(InterpreterTest, ASourceOfAnotherMajorVersionIsPassedOver) {
    std::string octets = Message().source(THIRD).data(READER).octets();
    octets[RTPS_HEADER_SIZE + 4 + 4] = 3;
    send(octets);
    EXPECT_THAT(reader.calls, IsEmpty());
    EXPECT_EQ(statistics().passedOver, 1u);
}

TEST_F(InterpreterTest, ADestinationHoldsForTheNextSourceToo) {
    send(Message().destination(THIRD).source(THIRD).data(READER));
    EXPECT_EQ(statistics().forOthers, 1u);
}

TEST_F(InterpreterTest, WhatIsForEverybodyIsNotDirectedAnyMore) {
    send(Message().destination(OWN).destination({0, 0, 0}).data(READER));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
}

TEST_F(InterpreterTest, AnEndpointWithoutAFunctionKeepsOthersFromIt) {
    Endpoint for_all_others(facade, RTPS_ENTITYID_UNKNOWN);
    Endpoint deaf(facade, OTHER_READER);
    deaf.endpoint.onData = nullptr;
    ASSERT_TRUE(for_all_others.add());
    ASSERT_TRUE(deaf.add());
    send(Message().data(OTHER_READER));
    EXPECT_THAT(for_all_others.calls, IsEmpty());
    EXPECT_EQ(statistics().unwanted, 1u);
}

// ---- endpoints that come and go

TEST_F(InterpreterTest, OneMayRemoveAnotherWhileItIsCalled) {
    Endpoint other(facade, OTHER_READER);
    ASSERT_TRUE(other.add());
    reader.then = [&other] { EXPECT_TRUE(other.remove()); };
    send(Message().data(RTPS_ENTITYID_UNKNOWN));
    EXPECT_EQ(reader.calls.size(), 1u);
    EXPECT_THAT(other.calls, IsEmpty());
}

TEST_F(InterpreterTest, WithoutAnEndpointMessagesAreNotGoneThrough) {
    EXPECT_TRUE(reader.remove());
    send(Message().data(READER));
    EXPECT_EQ(statistics().unwanted, 0u);
    EXPECT_TRUE(reader.add());
    send(Message().data(OTHER_READER));
    EXPECT_EQ(statistics().unwanted, 1u);
}

TEST_F(InterpreterTest, OneThatIsRemovedIsCalledNoMore) {
    Endpoint other(facade, OTHER_READER);
    ASSERT_TRUE(other.add());
    EXPECT_TRUE(reader.remove());
    send(Message().data(READER));
    EXPECT_THAT(reader.calls, IsEmpty());
    EXPECT_TRUE(reader.remove()) << "once more does no harm";
}

TEST_F(InterpreterTest, OneMayRemoveItselfWhileItIsCalled) {
    reader.then = [this] { EXPECT_TRUE(reader.remove()); };
    send(Message().data(READER, 1).data(READER, 2));
    EXPECT_THAT(reader.calls, ElementsAre(plain("data 1")));
}

TEST_F(InterpreterTest, RemovingOneWaitsForTheEndOfItsCall) {
    std::atomic<bool> is_called{false};
    std::atomic<bool> may_return{false};
    std::atomic<bool> has_returned{false};
    reader.then = [&] {
        is_called = true;
        EXPECT_TRUE(net::eventually([&] { return may_return.load(); }));
        has_returned = true;
    };
    ASSERT_TRUE(sender.send_to(to, Message().data(READER).octets()));
    ASSERT_TRUE(net::eventually([&] { return is_called.load(); }));
    bool had_returned = false;
    std::thread remover([&] {
        EXPECT_TRUE(reader.remove());
        had_returned = has_returned;
    });
    Endpoint successor(facade, READER); // there is room for it as soon as the first is taken out
    EXPECT_TRUE(net::eventually([&] {
        const LogCapture log;
        return successor.add();
    }));
    may_return = true;
    remover.join();
    EXPECT_TRUE(had_returned);
}

TEST_F(InterpreterTest, ThereIsOneOfEachEntityId) {
    Endpoint second(facade, READER);
    const LogCapture log;
    EXPECT_FALSE(second.add());
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(log.messages()[0].function, "COMMENDFacade_addEndpoint");
    EXPECT_EQ(log.messages()[0].text, "there is an endpoint 0x000100C7 already");
    send(Message().data(READER));
    EXPECT_EQ(reader.calls.size(), 1u);
    EXPECT_THAT(second.calls, IsEmpty());
}

TEST_F(InterpreterTest, ThereIsABoundOfTheirNumber) {
    std::deque<Endpoint> endpoints;
    for (RTPSEntityId id = 1; id < COMMEND_ENDPOINTS_MAX; ++id) {
        EXPECT_TRUE(endpoints.emplace_back(facade, id).add());
    }
    Endpoint surplus(facade, 0x1234);
    const LogCapture log;
    EXPECT_FALSE(surplus.add());
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text, "no endpoint 0x00001234: allowed are 8 of a participant");
    EXPECT_TRUE(reader.remove());
    EXPECT_TRUE(surplus.add());
}

} // namespace
