#include "telnet/nx_block.h"

#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <string>

#include "telnet/fake_sockets.h"

namespace {

using TELNET::Payload;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;

constexpr SOCKET kSocket = 77;

class SendFramed : public testing::Test {
protected:
    void Send(const std::string& name, const std::string& payload,
              Payload how = Payload::kInPieces) {
        const TELNET::NxBlock block{0, name.c_str(), payload.data(),
                                    static_cast<std::uint32_t>(payload.size())};
        TELNET::SendFramed(socket, block, how);
    }

    // The offset in the payload at which call `index` begins.
    [[nodiscard]] std::ptrdiff_t Offset(const std::string& payload, std::size_t index) const {
        return sends.calls.at(index).data - payload.data();
    }

    // Does what a receive thread does when the peer hangs up, during call `index`.
    void CloseDuring(std::size_t index) {
        sends.during = [this, index](std::size_t call) {
            if (call == index) socket = INVALID_SOCKET;
        };
    }

    std::atomic<SOCKET> socket = kSocket;
    RecordedSends sends;
};

TEST(NxBlock, IsEmptyAndForEveryClientByDefault) {
    const TELNET::NxBlock block;

    EXPECT_EQ(0u, block.clientId);
    EXPECT_EQ(nullptr, block.name);
    EXPECT_EQ(nullptr, block.data);
    EXPECT_EQ(0u, block.length);
}

TEST_F(SendFramed, PutsTheNamedTagsAndLineEndsAroundThePayload) {
    Send("log", "payload");

    EXPECT_EQ("\r\n<NxBlock=log>payload</NxBlock>\r\n", sends.Wire());
}

TEST_F(SendFramed, SendsHeaderPayloadAndTrailerInSeparateCallsWithoutFlags) {
    Send("log", "payload");

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 7, 12));
    EXPECT_THAT(sends.calls, Each(AllOf(Field(&RecordedSends::Call::socket, kSocket),
                                        Field(&RecordedSends::Call::flags, 0))));
}

TEST_F(SendFramed, SendsThePayloadAsItIs) {
    const std::string payload("\0%s\r\n</NxBlock>\r\n\xFF\0", 19);

    Send("raw", payload);

    EXPECT_EQ("\r\n<NxBlock=raw>" + payload + "</NxBlock>\r\n", sends.Wire());
}

TEST_F(SendFramed, TreatsTheNameAsTextAndNotAsAFormat) {
    Send("%s%n", "");

    EXPECT_EQ("\r\n<NxBlock=%s%n></NxBlock>\r\n", sends.Wire());
}

TEST_F(SendFramed, KeepsTheTagsAroundAnEmptyName) {
    Send("", "x");

    EXPECT_EQ("\r\n<NxBlock=>x</NxBlock>\r\n", sends.Wire());
}

TEST_F(SendFramed, MakesNoCallForAnEmptyPayloadInPieces) {
    Send("log", "");

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 12));
}

TEST_F(SendFramed, MakesOneCallForAnEmptyPayloadSentWhole) {
    Send("log", "", Payload::kWhole);

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 0, 12));
}

TEST_F(SendFramed, SendsALongPayloadInPiecesOf1024Bytes) {
    Send("log", std::string(2500, 'x'));

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 1024, 1024, 452, 12));
}

TEST_F(SendFramed, SendsAPayloadOfTwoFullPiecesInTwo) {
    Send("log", std::string(2048, 'x'));

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 1024, 1024, 12));
}

TEST_F(SendFramed, SendsALongPayloadInOneCallWhenWhole) {
    Send("log", std::string(2500, 'x'), Payload::kWhole);

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 2500, 12));
}

TEST_F(SendFramed, SendsTheHeaderInOneCallForTheLongestNameThatFitsItsBuffer) {
    Send(std::string(243, 'n'), "");

    EXPECT_EQ("\r\n<NxBlock=" + std::string(243, 'n') + ">", sends.calls.at(0).bytes);
}

TEST_F(SendFramed, SendsTheHeaderInOneCallForANameOneCharacterTooLong) {
    Send(std::string(244, 'n'), "");

    EXPECT_EQ("\r\n<NxBlock=" + std::string(244, 'n') + ">", sends.calls.at(0).bytes);
}

TEST_F(SendFramed, SendsTheHeaderInOneCallForAVeryLongName) {
    Send(std::string(100'000, 'n'), "");

    EXPECT_EQ("\r\n<NxBlock=" + std::string(100'000, 'n') + ">", sends.calls.at(0).bytes);
}

TEST_F(SendFramed, ContinuesAfterTheBytesThatAShortSendTook) {
    const std::string payload(2000, 'x');
    sends.results = {15, 10, 1024};

    Send("log", payload);

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 1024, 1024, 966, 12));
    EXPECT_EQ(10, Offset(payload, 2));
    EXPECT_EQ(1034, Offset(payload, 3));
}

TEST_F(SendFramed, EndsThePayloadAtOnceWhenItsFirstSendFails) {
    sends.results = {15, -1};

    Send("log", std::string(2500, 'x'));

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 1024, 12));
}

TEST_F(SendFramed, RetriesAFailedPieceFromOneByteEarlier) {
    const std::string payload(2000, 'x');
    sends.results = {15, 1024, -1};

    Send("log", payload);

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 1024, 976, 977, 12));
    EXPECT_EQ(1023, Offset(payload, 3));
}

TEST_F(SendFramed, StepsBackToTheBeginningOnALostConnection) {
    sends.results = {15, 3, -1, -1, -1, -1};

    Send("log", "payload");

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 7, 4, 5, 6, 7, 12));
}

TEST_F(SendFramed, SendsTheRestEvenWhenTheHeaderFails) {
    sends.results = {-1};

    Send("log", "payload");

    EXPECT_THAT(sends.Lengths(), ElementsAre(15, 7, 12));
}

TEST_F(SendFramed, SendsNothingOverASocketThatIsClosedDuringTheHeader) {
    CloseDuring(0);

    Send("log", std::string(2500, 'x'));

    EXPECT_THAT(sends.Sockets(), ElementsAre(kSocket, INVALID_SOCKET, INVALID_SOCKET,
                                             INVALID_SOCKET, INVALID_SOCKET));
}

TEST_F(SendFramed, SendsNothingOverASocketThatIsClosedDuringThePayload) {
    CloseDuring(2);

    Send("log", std::string(2500, 'x'));

    EXPECT_THAT(sends.Sockets(),
                ElementsAre(kSocket, kSocket, kSocket, INVALID_SOCKET, INVALID_SOCKET));
}

TEST_F(SendFramed, SendsNoTrailerOverASocketThatIsClosedDuringTheLastPiece) {
    CloseDuring(3);

    Send("log", std::string(2500, 'x'));

    EXPECT_THAT(sends.Sockets(), ElementsAre(kSocket, kSocket, kSocket, kSocket, INVALID_SOCKET));
}

TEST_F(SendFramed, SendsNeitherPayloadNorTrailerOverASocketThatIsClosedWhenWhole) {
    CloseDuring(0);

    Send("log", "payload", Payload::kWhole);

    EXPECT_THAT(sends.Sockets(), ElementsAre(kSocket, INVALID_SOCKET, INVALID_SOCKET));
}

TEST_F(SendFramed, SendsTheSameBytesForRandomBlocksInPiecesAndWhole) {
    std::mt19937 random(20'240'610);
    for (int round = 0; round < 300; ++round) {
        const std::string name(std::uniform_int_distribution<std::size_t>(0, 500)(random), 'n');
        std::string payload(std::uniform_int_distribution<std::size_t>(0, 5000)(random), '\0');
        for (char& byte : payload) byte = static_cast<char>(random());
        const std::string expected = "\r\n<NxBlock=" + name + ">" + payload + "</NxBlock>\r\n";

        sends.calls.clear();
        Send(name, payload, Payload::kInPieces);
        ASSERT_EQ(expected, sends.Wire());
        sends.calls.clear();
        Send(name, payload, Payload::kWhole);
        ASSERT_EQ(expected, sends.Wire());
    }
}

}  // namespace
