#include "relay.h"

#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "message_frame.h"

namespace relay {
namespace {

using bytes = std::vector<uint8_t>;

constexpr int kTurnMs = 5;
constexpr int64_t kLateMs = 11000;  // the longest time-out is 10 s

int64_t now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

sockaddr_un address_of(const std::string &path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

int new_socket() {
  return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
}

void listen_at(int listener, const std::string &path) {
  const sockaddr_un address = address_of(path);
  if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 || listen(listener, 8) != 0) {
    throw std::runtime_error("no relay at " + path);
  }
}

// A frame, or nothing at the connection's end.
bytes receive(int from) {
  bytes frame(kMessageMax);
  const ssize_t got = recv(from, frame.data(), frame.size(), MSG_DONTWAIT);
  frame.resize(got < 0 ? 0 : static_cast<size_t>(got));
  return frame;
}

void give(int to, const bytes &frame) {
  send(to, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

bytes with_payload(const bytes &frame, size_t size) {
  message_header header = {};
  message_header_read(frame.data(), frame.size(), &header);
  header.payload_size = static_cast<uint32_t>(size);
  bytes out = frame;
  out.resize(kMessageHeaderSize + size, 0xA5);
  message_header_write(header, out.data());
  return out;
}

bytes with_another_number(const bytes &frame) {
  message_header header = {};
  message_header_read(frame.data(), frame.size(), &header);
  --header.sequence;
  bytes out = frame;
  message_header_write(header, out.data());
  return out;
}

bytes half_of(const bytes &frame, bool first) {
  const auto middle = frame.begin() + static_cast<long>(frame.size() / 2);
  return first ? bytes(frame.begin(), middle) : bytes(middle, frame.end());
}

bytes noise_like(const bytes &frame) {
  bytes out = frame;
  uint32_t state = 2463534242;
  for (uint8_t &each : out) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    each = static_cast<uint8_t>(state);
  }
  return out;
}

}  // namespace

relay::relay(const std::string &socket_file)
    : path_(socket_file), moved_to_(socket_file + ".moved"), listener_(new_socket()) {
  if (rename(path_.c_str(), moved_to_.c_str()) != 0) {
    throw std::runtime_error("no relay at " + path_);
  }
  listen_at(listener_, path_);
  thread_ = std::thread([this] { run(); });
}

relay::~relay() {
  {
    const std::lock_guard lock(guard_);
    ending_ = true;
  }
  thread_.join();
  for (const connection &each : connections_) {
    close(each.client);
    close(each.server);
  }
  close(listener_);
  rename(moved_to_.c_str(), path_.c_str());
}

// Waits until the thread has done it, which owns the descriptors.
void relay::be_away(std::unique_lock<std::mutex> &lock, bool away) {
  wants_away_ = away;
  followed_.wait(lock, [&] { return away == (listener_ < 0); });
}

void relay::leave() {
  std::unique_lock lock(guard_);
  be_away(lock, true);
}

void relay::plan(unsigned nth, breakage kind) {
  std::unique_lock lock(guard_);
  be_away(lock, false);
  nth_ = nth;
  kind_ = kind;
  seen_ = 0;
}

unsigned relay::requests() {
  const std::lock_guard lock(guard_);
  return seen_;
}

// Returns whether the service went away or came back.
bool relay::follow_wish() {
  if (wants_away_ == (listener_ < 0)) {
    return false;
  }
  if (wants_away_) {
    close(std::exchange(listener_, -1));
    unlink(path_.c_str());
    for (const connection &each : connections_) {
      close(each.client);
      close(each.server);
    }
    connections_.clear();
    late_.clear();
  } else {
    listener_ = new_socket();
    listen_at(listener_, path_);
  }
  followed_.notify_all();
  return true;
}

void relay::take_connection() {
  const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  const int server = new_socket();
  const sockaddr_un address = address_of(moved_to_);
  if (connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    close(client);
    close(server);
    return;
  }
  connections_.push_back({client, server});
}

breakage relay::next_breakage(const bytes &frame) {
  message_header header = {};
  if (message_header_read(frame.data(), frame.size(), &header) != 0 || (header.flags & kMessageIsProbe) != 0) {
    return breakage::none;
  }
  return ++seen_ == nth_ ? kind_ : breakage::none;
}

// Whether the connection goes on.
bool relay::pass_request(connection &c) {
  bytes peeked(kMessageMax);
  const ssize_t got = recv(c.client, peeked.data(), peeked.size(), MSG_DONTWAIT | MSG_PEEK);
  if (got <= 0) {
    return false;
  }
  peeked.resize(static_cast<size_t>(got));
  const breakage kind = next_breakage(peeked);
  if (kind == breakage::gone) {
    wants_away_ = true;
    return true;
  }
  if (kind == breakage::reset_before_read) {
    return false;
  }
  const bytes frame = receive(c.client);
  if (kind == breakage::reset_after_read) {
    return false;
  }
  if (kind != breakage::hang) {
    c.of_answer = kind;
    give(c.server, frame);
  }
  return true;
}

bool relay::pass_answer(connection &c) {
  const bytes frame = receive(c.server);
  if (frame.empty()) {
    return false;
  }
  const size_t payload = std::max<size_t>(frame.size(), kMessageHeaderSize) - kMessageHeaderSize;
  switch (std::exchange(c.of_answer, breakage::none)) {
    case breakage::reset_after_done:
      return false;
    case breakage::no_payload:
      give(c.client, with_payload(frame, 0));
      return true;
    case breakage::cut_payload:
      give(c.client, with_payload(frame, payload / 2));
      return true;
    case breakage::cut_frame:
      give(c.client, half_of(frame, true));
      return true;
    case breakage::too_much:
      give(c.client, with_payload(frame, payload + 1000));
      return true;
    case breakage::garbage:
      give(c.client, noise_like(frame));
      return true;
    case breakage::wrong_number:
      give(c.client, with_another_number(frame));
      return true;
    case breakage::in_two_messages:
      give(c.client, half_of(frame, true));
      give(c.client, half_of(frame, false));
      return true;
    case breakage::late:
      late_.push_back({now_ms() + kLateMs, c.client, frame});
      return true;
    default:
      give(c.client, frame);
      return true;
  }
}

void relay::send_late_answers() {
  const auto due =
      std::partition(late_.begin(), late_.end(), [](const late_answer &each) { return each.at > now_ms(); });
  std::for_each(due, late_.end(), [](const late_answer &each) { give(each.client, each.frame); });
  late_.erase(due, late_.end());
}

void relay::run() {
  for (;;) {
    std::vector<pollfd> ready = {{listener_, POLLIN, 0}};
    for (const connection &each : connections_) {
      ready.push_back({each.client, POLLIN, 0});
      ready.push_back({each.server, POLLIN, 0});
    }
    poll(ready.data(), ready.size(), kTurnMs);
    const std::lock_guard lock(guard_);
    if (ending_) {
      return;
    }
    send_late_answers();
    for (size_t i = connections_.size(); i-- > 0;) {
      connection &c = connections_[i];
      const bool goes_on =
          (ready[1 + 2 * i].revents == 0 || pass_request(c)) && (ready[2 + 2 * i].revents == 0 || pass_answer(c));
      if (!goes_on) {
        close(c.client);
        close(c.server);
        std::erase_if(late_, [&](const late_answer &each) { return each.client == c.client; });
        connections_.erase(connections_.begin() + static_cast<long>(i));
      }
    }
    if (!follow_wish() && ready[0].revents != 0) {
      take_connection();
    }
  }
}

}  // namespace relay
