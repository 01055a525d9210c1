// A manager that answers nonsense: the agent gives no value, refuses SETs, lives, and is right again as soon as
// switchd is back.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "fabric_lab.h"
#include "message_frame.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

using bytes = std::vector<uint8_t>;

bytes frame(message_header header, const bytes &payload) {
  bytes out(kMessageHeaderSize + payload.size());
  message_header_write(header, out.data());
  std::copy(payload.begin(), payload.end(), out.begin() + kMessageHeaderSize);
  return out;
}

// A sound answer to the request, but for what the test changes in it.
message_header answer_header(const message_header &request, size_t payload_size) {
  message_header header = request;
  header.flags = kMessageIsAnswer;
  header.status = 0;
  header.user_size = header.session_size = 0;
  header.payload_size = static_cast<uint32_t>(payload_size);
  return header;
}

using liar = std::function<bytes(const message_header &request, std::mt19937 &random)>;

// Serves one socket file with a liar until it goes.
class rogue {
 public:
  rogue(const std::string &path, const liar &lie) : path_(path), lie_(lie) {
    unlink(path.c_str());
    listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener_, 8), 0);
    thread_ = std::thread([this] { run(); });
  }
  ~rogue() {
    ending_ = true;
    thread_.join();
    for (const pollfd &each : connections_) {
      close(each.fd);
    }
    unlink(path_.c_str());
  }
  unsigned long answered() const { return answered_; }

 private:
  void run() {
    connections_.push_back({listener_, POLLIN, 0});
    while (!ending_) {
      if (poll(connections_.data(), connections_.size(), 10) <= 0) {
        continue;
      }
      for (size_t i = connections_.size(); i-- > 1;) {
        serve(i);
      }
      if ((connections_[0].revents & POLLIN) != 0) {
        connections_.push_back({accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
      }
    }
  }
  void serve(size_t i) {
    if (connections_[i].revents == 0) {
      return;
    }
    uint8_t request[kMessageMax];
    const ssize_t got = recv(connections_[i].fd, request, sizeof request, MSG_DONTWAIT);
    message_header header;
    if (got <= 0 || message_header_read(request, static_cast<size_t>(got), &header) != 0) {
      close(connections_[i].fd);
      connections_.erase(connections_.begin() + static_cast<long>(i));
      return;
    }
    const bytes answer = lie_(header, random_);
    send(connections_[i].fd, answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ++answered_;
  }

  std::string path_;
  liar lie_;
  int listener_;
  std::mt19937 random_{4711};
  std::vector<pollfd> connections_;
  std::atomic<bool> ending_ = false;
  std::atomic<unsigned long> answered_ = 0;
  std::thread thread_;
};

bytes noise(std::mt19937 &random, size_t size) {
  bytes out(size);
  for (uint8_t &each : out) {
    each = static_cast<uint8_t>(random());
  }
  return out;
}

struct lie_row {
  const char *name;
  liar lie;
};
void PrintTo(const lie_row &row, std::ostream *out) {
  *out << row.name;
}

const lie_row kBrokenFrames[] = {
    {"Noise", [](const message_header &, std::mt19937 &random) { return noise(random, 1 + random() % 4000); }},
    {"HeaderOnlyWithAPayloadPromised",
     [](const message_header &request, std::mt19937 &) { return frame(answer_header(request, 2632), {}); }},
    {"LongerThanItsSizes",
     [](const message_header &request, std::mt19937 &) { return frame(answer_header(request, 16), bytes(2632)); }},
    {"ARequestInsteadOfAnAnswer",
     [](const message_header &request, std::mt19937 &) {
       message_header header = answer_header(request, 2632);
       header.flags = 0;
       return frame(header, bytes(2632));
     }},
    {"AnotherOpcode",
     [](const message_header &request, std::mt19937 &) {
       message_header header = answer_header(request, 2632);
       ++header.opcode;
       return frame(header, bytes(2632));
     }},
    {"StatusOfAFailedCall",
     [](const message_header &request, std::mt19937 &) {
       message_header header = answer_header(request, 0);
       header.status = UINT32_MAX;
       return frame(header, {});
     }},
    {"NoPayload", [](const message_header &request, std::mt19937 &) { return frame(answer_header(request, 0), {}); }},
    {"OneOctet",
     [](const message_header &request, std::mt19937 &) { return frame(answer_header(request, 1), bytes(1)); }},
};

class Rogue : public FabricTest {
 protected:
  // Lies for the VSAN manager and the port manager while `step` runs; then switchd is back and everything is
  // as it was.
  void with_lies(const liar &lie, const std::function<void()> &step) {
    const std::string store = lab::settled_dump(l);
    lab::stop(l.switchd);
    {
      rogue vsans(l.dir + "/run/vsan-manager.sock", lie), ports(l.dir + "/run/port-manager.sock", lie);
      step();
      EXPECT_GT(vsans.answered(), 0u);
      EXPECT_GT(ports.answered(), 0u);
    }
    EXPECT_TRUE(lab::is_running(l.snmpd)) << lab::read_file(l.snmpd.log);
    lab::start_switchd(l);
    EXPECT_EQ(changes(), difference{});
    EXPECT_EQ(lab::settled_dump(l), store);
    EXPECT_DONE(set({name(5, "x"), admin_state(10, 1)}));
  }
  std::vector<name_t> one_of_each() {
    return {vsan_cell(kName, 10),
            vsan_cell(kMtu, 10),
            if_vsan(kFc1),
            summary(10, kFc2),
            vsan_number(),
            last_change(),
            if_number(),
            switch_wide(kSwitchRatov),
            switch_wide(kNetworkLatency),
            timer_cell(kRatov, 10)};
  }
};

class BrokenFrames : public Rogue, public ::testing::WithParamInterface<lie_row> {};

TEST_P(BrokenFrames, GiveNoValueRefuseSetsAndAreForgottenWhenSwitchdIsBack) {
  with_lies(GetParam().lie, [&] {
    for (const name_t &each : one_of_each()) {
      const varbind got = get(each);
      EXPECT_TRUE(got.type == snmp::kNoSuchInstance || got.type == snmp::kNoSuchObject)
          << text(each) << " type " << got.type << " " << got.integer;
    }
    EXPECT_EQ(set({name(5, "y")}).status, kGenErr);
    snmp::client c(l, snmp::community("public"), 30);
    EXPECT_TRUE(snmp::walk(c, root()).empty());
  });
}

INSTANTIATE_TEST_SUITE_P(, BrokenFrames, ::testing::ValuesIn(kBrokenFrames),
                         [](const auto &info) { return info.param.name; });

// Frames that are sound, with payloads that are not: values may be anything, but nothing breaks.
TEST_F(Rogue, SoundFramesWithPayloadsOfNoiseHarmNothing) {
  const liar lie = [](const message_header &request, std::mt19937 &random) {
    const size_t size = request.opcode == 149 ? 2632 : 16;
    return frame(answer_header(request, size), noise(random, size));
  };
  with_lies(lie, [&] {
    for (const name_t &each : one_of_each()) {
      get(each);
    }
    snmp::client c(l, snmp::community("public"), 30);
    // The order of rows is the manager's, so that this walk may go round; each value is of its object's type all the
    // same.
    for (const varbind &v : snmp::walk(c, root(), 2000)) {
      const bool is_text = v.name[9] == 1 && v.name.size() == 15 && (v.name[13] == kName || v.name[12] == 1);
      EXPECT_TRUE(v.type == 2 || v.type == 0x42 || v.type == 0x43 || (is_text && v.type == 4)) << text(v.name);
      EXPECT_LE(v.octets.size(), 36u);
    }
    for (int i = 0; i < 50; ++i) {
      set({name(5, "y"), admin_state(10, 1), row_status(30, kCreateAndGo), move(kFc1, 10)});
    }
  });
}

TEST_F(Rogue, AnAnswerWithTheNumberOfAnEarlierRequestIsNobodysAndTheRequestTimesOut) {
  const liar lie = [](const message_header &request, std::mt19937 &) {
    message_header header = answer_header(request, 2632);
    --header.sequence;
    return frame(header, bytes(2632));
  };
  with_lies(lie, [&] {
    snmp::client c(l, snmp::community("public"), 30);
    for (const name_t &name : {vsan_cell(kName, 10), summary(10, kFc2)}) {
      const auto start = std::chrono::steady_clock::now();
      EXPECT_EQ(snmp::get(c, {name}).varbinds.at(0).type, snmp::kNoSuchInstance);
      EXPECT_GT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 3.5) << text(name);
    }
  });
}

}  // namespace
