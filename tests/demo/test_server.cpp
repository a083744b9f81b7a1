// The demo instrument's SCPI server over loopback: the protocol, the error
// queue, the reporting path of a component failure, the trace switches, and
// what the field sends (garbage, huge lines, vanishing and silent clients,
// many clients, load). Each test starts a server of its own (--port 0).
#include <gtest/gtest.h>

#include <KxTamarindCommon.h>
#include <poll.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DemoSupport.h"

using namespace DemoTest;

namespace {

const std::string kNoError = "0,\"No error\"";

std::string Identity() {
    return std::string("KxTamarind,Demo Instrument,100001,") + KxTamarind::GetLibraryVersion();
}

// Checks a clean stop: exit 0 and every component released.
void ExpectCleanStop(Server& server, int signal = SIGTERM) {
    EXPECT_EQ(server.Stop(signal), 0);
    std::string output = server.Output();
    EXPECT_TRUE(Contains(output, "leak check: all 7 components released\n")) << output;
    EXPECT_FALSE(Contains(output, "device shutdown")) << output;
}

} // namespace

TEST(ScpiServer, AnswersQueriesInShortAndLongFormsAndAnyCase) {
    Server server;
    ASSERT_NE(server.Port(), 0) << server.Output();
    Client client(server.Port());
    const std::string table[][2] = {
        {"*IDN?", Identity()},
        {"*idn?", Identity()},
        {"*IDN?;*OPC?", Identity() + ";1"}, // one response line per message
        {"*IDN?;;", Identity()},
        {"MEAS:VOLT?", "1.000125"},
        {"measure:voltage? 2", "2.002625"},
        {":MEAS:SCAL:VOLT:DC? 4", "4.007625"},
        {"MEAS:VOLT? 1;TEMP? 2", "1.000125;23.125"}, // TEMP? below the path MEAS
        {"MEAS:TEMP? 3\r", "23.250"},
        {"  DIAG:ECHO?   2147483647  ", "2147483647"},
        {"SYST:COMP:LIST?", "\"Executor\",\"Channel1\",\"Channel2\",\"Channel3\",\"Channel4\""},
        {"SYST:TRAC:SCPI?", "0"},
        {"SYSTem:ERRor:NEXT?", kNoError},
        {"*OPC;*ESR?", "1"},
        {"*ESR?", "0"},
        {"*RST;*CLS;*WAI;*OPC?", "1"},
        {"SYST:ERR:COUN?", "0"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row[0]);
        EXPECT_EQ(client.Query(row[0]), row[1]);
    }
    ExpectCleanStop(server);
}

TEST(ScpiServer, QueuesEachErrorWithItsCodeAndEventBit) {
    Server server;
    Client client(server.Port());
    struct Row {
        std::string line;
        std::string answer; // of the line itself; empty: none
        std::string error;
        std::string esr;
    } rows[] = {
        {"BOGUS", "", "-113,\"Undefined header\"", "32"},
        {"MEAS:VOLT", "", "-113,\"Undefined header\"", "32"}, // command form of a query
        {"*IDN", "", "-113,\"Undefined header\"", "32"},
        {"SYST:ERR?;MEAS:VOLT?", kNoError, "-113,\"Undefined header\"", "32"}, // SYST:MEAS:...
        {"BOGUS;*OPC?", "", "-113,\"Undefined header\"", "32"}, // the rest is skipped
        {"MEAS::VOLT?", "", "-102,\"Syntax error\"", "32"},
        {"MEAS:VOLT?1", "", "-102,\"Syntax error\"", "32"},
        {"MEAS:VOLTAGEVOLTAGE?", "", "-112,\"Program mnemonic too long\"", "32"},
        {"MEAS:VOLT? 1 2", "", "-103,\"Invalid separator\"", "32"},
        {"MEAS:VOLT? abc", "", "-104,\"Data type error\"", "32"},
        {"MEAS:VOLT? 1,2", "", "-108,\"Parameter not allowed\"", "32"},
        {"DIAG:ECHO?", "", "-109,\"Missing parameter\"", "32"},
        {"DIAG:ECHO? 1,", "", "-109,\"Missing parameter\"", "32"},
        {std::string("\xff\x01\0*IDN?", 8), "", "-101,\"Invalid character\"", "32"},
        {"MEAS:VOLT? 5;*OPC?", "1", "-222,\"Data out of range\"", "16"},
        {"DIAG:ECHO? -1", "", "-222,\"Data out of range\"", "16"},
        {"DIAG:ECHO? 99999999999999999999", "", "-222,\"Data out of range\"", "16"},
        {"SYST:TRAC:SCPI MAYBE", "", "-224,\"Illegal parameter value\"", "16"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        if (row.answer.empty()) {
            ASSERT_TRUE(client.Send(row.line + "\n"));
        } else {
            EXPECT_EQ(client.Query(row.line), row.answer);
        }
        EXPECT_EQ(client.Query("SYST:ERR?"), row.error);
        EXPECT_EQ(client.Query("SYST:ERR?"), kNoError);
        EXPECT_EQ(client.Query("*ESR?"), row.esr);
    }
    ExpectCleanStop(server);
}

TEST(ScpiServer, ErrorQueueHoldsTenOverflowsOnceAndBelongsToItsConnection) {
    Server server;
    Client client(server.Port());
    Client other(server.Port());
    for (int errors : {10, 11, 25}) {
        SCOPED_TRACE(errors);
        for (int i = 0; i < errors; ++i) {
            ASSERT_TRUE(client.Send("BOGUS\n"));
        }
        EXPECT_EQ(other.Query("SYST:ERR?"), kNoError);
        EXPECT_EQ(client.Query("SYST:ERR:COUN?"), "10");
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(client.Query("SYST:ERR?"), "-113,\"Undefined header\"");
        }
        EXPECT_EQ(client.Query("SYST:ERR?"),
                  errors == 10 ? "-113,\"Undefined header\"" : "-350,\"Queue overflow\"");
        EXPECT_EQ(client.Query("SYST:ERR?"), kNoError);
    }
    ASSERT_TRUE(client.Send("BOGUS\nBOGUS\n*CLS\n"));
    EXPECT_EQ(client.Query("SYST:ERR?"), kNoError);
    EXPECT_EQ(client.Query("*ESR?"), "0");
    ExpectCleanStop(server);
}

// Beyond the library's limit of ten thrown errors per process the failure
// still reaches the error queue; only the log stops growing.
TEST(ScpiServer, ComponentFailureIsQueuedAndLoggedAndServingGoesOn) {
    Server server;
    Client client(server.Port());
    for (int i = 1; i <= 11; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(client.Send("DIAG:FAIL 2\n"));
        EXPECT_EQ(client.Query("SYST:ERR?"),
                  i <= 10 ? "-300,\"Device-specific error;component error 0x80001007: "
                            "E_KX_HRESULT_ASSERT_FAILED\""
                          : "-300,\"Device-specific error;component error 0x80000008: E_FAIL\"");
        EXPECT_EQ(client.Query("*ESR?"), "8");
        EXPECT_EQ(client.Query("MEAS:TEMP? 2"), "23.125");
    }
    ExpectCleanStop(server);
    // Ten records of the failure and the tear-down's repaired error.
    ErrorLog log = ParseErrorLog(server.Root() + "/log/errors.xml");
    ASSERT_TRUE(log.parsed);
    EXPECT_EQ(log.levels, std::vector<std::string>(11, "RepairedError"));
    EXPECT_TRUE(
        Contains(ReadFile(server.Root() + "/log/errors.xml"), "<ObjectName>Channel2</ObjectName>"));
}

TEST(ScpiServer, TraceSwitchesTraceCommandsWhileOn) {
    Server server;
    Client client(server.Port());
    EXPECT_EQ(client.Query("SYST:TRAC:SCPI ON;*OPC?"), "1");
    EXPECT_EQ(client.Query("SYST:TRAC:SCPI?;:MEAS:VOLT? 3"), "1;3.005125");
    EXPECT_EQ(client.Query("*RST;SYST:TRAC:SCPI?"), "0"); // *RST switches it off
    EXPECT_EQ(client.Query("DIAG:ECHO? 777"), "777");
    ExpectCleanStop(server);
    std::string output = server.Output();
    for (const char* traced :
         {"trace [scpi] ScpiConnection.cpp:", "< SYST:TRAC:SCPI?;:MEAS:VOLT? 3", "> 1;3.005125",
          "Executor message 2(2,0) = 3005125",
          "unit ':MEAS:VOLT? 3': MEAS:VOLT? with 1 parameter(s)"}) {
        EXPECT_TRUE(Contains(output, traced)) << traced << "\n" << output;
    }
    EXPECT_FALSE(Contains(output, "ECHO? 777")) << output;
}

TEST(ScpiServer, SurvivesGarbageHugeLinesAndClientsThatVanish) {
    Server server;
    Client client(server.Port());
    // Lines up to 64 KiB are executed; a longer one is dropped whole.
    EXPECT_EQ(client.Query(std::string(65536 - 5, ' ') + "*OPC?"), "1");
    ASSERT_TRUE(client.Send(std::string(65537 - 5, ' ') + "*OPC?\n"));
    ASSERT_TRUE(client.Send(std::string(1 << 20, 'A') + "\n"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(client.Query("SYST:ERR?"), "-223,\"Too much data\"");
    }
    std::string garbage = "\x80"; // every byte value but '\n', NULs included
    for (int i = 0; i < 4096; ++i) {
        garbage += static_cast<char>(i % 256 == '\n' ? 0 : i % 256);
    }
    EXPECT_TRUE(client.Send(garbage + "\n"));
    EXPECT_EQ(client.Query("SYST:ERR?"), "-101,\"Invalid character\"");
    {
        Client midCommand(server.Port());
        ASSERT_TRUE(midCommand.Send("MEAS:VOL"));
        Client noWait(server.Port()); // gone before its answers are sent
        ASSERT_TRUE(noWait.Send("*IDN?\nSYST:COMP:LIST?\n"));
    }
    EXPECT_EQ(client.Query("*IDN?"), Identity());
    ExpectCleanStop(server);
}

TEST(ScpiServer, ClientThatNeverReadsStallsOnlyItself) {
    Server server;
    Client silent(server.Port());
    // Queries until the server has taken nothing for a second.
    std::string queries;
    for (int i = 0; i < 1000; ++i) {
        queries += "SYST:COMP:LIST?\n";
    }
    const size_t kLimit = size_t{32} << 20; // far above the kernel's socket buffers
    size_t sent = 0;
    pollfd writable{silent.Fd(), POLLOUT, 0};
    while (sent < kLimit && poll(&writable, 1, 1000) == 1) {
        ssize_t n = send(silent.Fd(), queries.data(), queries.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        ASSERT_TRUE(n > 0 || errno == EAGAIN);
        sent += n > 0 ? static_cast<size_t>(n) : 0;
    }
    EXPECT_LT(sent, kLimit) << "the server kept reading";
    Client other(server.Port());
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(other.Query("DIAG:ECHO? " + std::to_string(i)), std::to_string(i));
    }
    ExpectCleanStop(server, SIGINT);
}

TEST(ScpiServer, ServesThirtyTwoClientsAtOnceAndRefusesTheNext) {
    Server server;
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 32; ++i) {
        clients.emplace_back(new Client(server.Port()));
        ASSERT_TRUE(clients.back()->Send("DIAG:ECHO? " + std::to_string(i) + "\n"));
    }
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(clients[i]->ReadLine(), std::to_string(i));
    }
    Client refused(server.Port());
    EXPECT_EQ(refused.ReadLine(), "<eof>");
    clients[0].reset(); // frees a place, taken once the server saw the close
    std::string answer;
    for (int i = 0; i < 500 && answer != "1"; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(i == 0 ? 0 : 20));
        answer = Client(server.Port()).Query("*OPC?");
    }
    EXPECT_EQ(answer, "1");
    for (int i = 1; i < 32; ++i) {
        EXPECT_EQ(clients[i]->Query("*OPC?"), "1");
    }
    ExpectCleanStop(server);
    EXPECT_TRUE(Contains(server.Output(), ": 32 clients connected\n"));
}

// 16 clients, each with up to 8 queries in flight; every answer must be
// the one of its query, in order.
TEST(ScpiServer, SixteenClientsFiveHundredQueriesEachAllAnsweredInOrder) {
    constexpr int kClients = 16;
    constexpr int kQueries = 500;
    constexpr int kWindow = 8;
    Server server;
    Client probe(server.Port());
    std::vector<std::string> volts;
    for (int channel = 1; channel <= 4; ++channel) {
        volts.push_back(probe.Query("MEAS:VOLT? " + std::to_string(channel)));
    }
    std::vector<std::string> outcome(kClients); // answers matched, or the first mismatch
    std::vector<std::thread> threads;
    for (int c = 0; c < kClients; ++c) {
        threads.emplace_back([&, c] {
            Client client(server.Port());
            auto number = [c](int k) { return std::to_string(c * 100000 + k); };
            auto query = [&](int k) {
                return k % 2 == 0 ? "MEAS:VOLT? " + std::to_string((c + k) % 4 + 1)
                                  : "DIAG:ECHO? " + number(k);
            };
            auto answer = [&](int k) { return k % 2 == 0 ? volts[(c + k) % 4] : number(k); };
            int received = 0;
            for (int sent = 0; received < kQueries; ++received) {
                for (; sent < kQueries && sent - received < kWindow; ++sent) {
                    client.Send(query(sent) + "\n");
                }
                std::string got = client.ReadLine();
                if (got != answer(received)) {
                    outcome[c] = query(received) + " -> " + got;
                    return;
                }
            }
            outcome[c] = std::to_string(received);
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    for (int c = 0; c < kClients; ++c) {
        EXPECT_EQ(outcome[c], std::to_string(kQueries)) << "client " << c;
    }
    ExpectCleanStop(server);
}
