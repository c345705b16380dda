#include "driver_link.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <utility>

namespace standin {

namespace {

using Clock = std::chrono::steady_clock;

// How long a closing engine waits for a slow driver to take the last frames, and then for the
// driver to hang up, so that closing the socket cannot reset data still in flight.
constexpr auto kDrainTime = std::chrono::seconds(5);
constexpr auto kLingerTime = std::chrono::seconds(2);

DWORD MillisUntil(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() > 0 ? static_cast<DWORD>(left.count()) : 0;
}

// One connected driver: the bytes in both directions and the socket's event.
class Connection {
 public:
  Connection(SOCKET socket, std::shared_ptr<Core> core)
      : socket_(socket), core_(std::move(core)), event_(::WSACreateEvent()) {
    ::WSAEventSelect(socket_, event_, FD_READ | FD_WRITE | FD_CLOSE);
    const BOOL noDelay = TRUE;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
                 sizeof noDelay);
  }

  ~Connection() {
    // A frame cut off with the connection goes back whole, for the next driver.
    if (sending_) core_->ReturnOutgoing(std::move(*sending_));
    ::closesocket(socket_);
    ::WSACloseEvent(event_);
  }

  HANDLE event() const { return event_; }
  bool idle() const { return !sending_; }

  // Sends queued frames until the socket is full. False when the connection broke.
  bool Flush() {
    while (writable_) {
      if (!sending_) {
        sending_ = core_->TakeOutgoing();
        if (!sending_) return true;
        sent_ = 0;
      }
      const size_t left = sending_->size() - sent_;
      const int n = ::send(socket_, reinterpret_cast<const char*>(sending_->data() + sent_),
                           static_cast<int>(std::min<size_t>(left, 1 << 20)), 0);
      if (n == SOCKET_ERROR) {
        if (::WSAGetLastError() == WSAEWOULDBLOCK) {
          writable_ = false;
          return true;
        }
        return false;
      }
      sent_ += static_cast<size_t>(n);
      if (sent_ == sending_->size()) sending_.reset();
    }
    return true;
  }

  // Handles the socket's event. False when the connection is over: the driver hung up, it
  // broke, or the driver sent something that is not a frame it may send.
  bool OnEvent(bool deliver) {
    WSANETWORKEVENTS events{};
    if (::WSAEnumNetworkEvents(socket_, event_, &events) == SOCKET_ERROR) return false;
    if (events.lNetworkEvents & FD_WRITE) writable_ = true;
    if (events.lNetworkEvents & (FD_READ | FD_CLOSE)) {
      if (!Read(deliver)) return false;
    }
    return Flush();
  }

  // Closes our direction, then waits a bounded time for the driver to close its own.
  void CloseGracefully(Clock::time_point deadline) {
    ::shutdown(socket_, SD_SEND);
    while (Clock::now() < deadline) {
      const DWORD wait =
          ::WSAWaitForMultipleEvents(1, &event_, FALSE, MillisUntil(deadline), FALSE);
      if (wait != WSA_WAIT_EVENT_0) return;
      WSANETWORKEVENTS events{};
      if (::WSAEnumNetworkEvents(socket_, event_, &events) == SOCKET_ERROR) return;
      if (!Read(false)) return;
    }
  }

 private:
  // Reads everything available. With `deliver` false the bytes are only drained.
  bool Read(bool deliver) {
    char buffer[64 * 1024];
    for (;;) {
      const int n = ::recv(socket_, buffer, sizeof buffer, 0);
      if (n == 0) return false;
      if (n == SOCKET_ERROR) return ::WSAGetLastError() == WSAEWOULDBLOCK;
      if (!deliver) continue;
      reader_.Append({reinterpret_cast<const uint8_t*>(buffer), static_cast<size_t>(n)});
      frames::Frame frame;
      frames::FrameReader::Status status;
      while ((status = reader_.Next(frame)) == frames::FrameReader::Status::kFrame) {
        if (!frames::IsDriverKind(frames::KindOf(frame))) {
          std::fprintf(stderr, "engine stand-in: driver sent %s, closing its connection\n",
                       frames::Describe(frame).c_str());
          return false;
        }
        core_->Deliver(std::move(frame));
      }
      if (status == frames::FrameReader::Status::kMalformed) {
        std::fprintf(stderr, "engine stand-in: malformed frame from the driver (%s), closing\n",
                     frames::DescribeError(reader_.error()));
        return false;
      }
    }
  }

  SOCKET socket_;
  std::shared_ptr<Core> core_;
  WSAEVENT event_;
  frames::FrameReader reader_;
  std::optional<frames::Bytes> sending_;
  size_t sent_ = 0;
  bool writable_ = true;
};

}  // namespace

std::unique_ptr<DriverLink> DriverLink::Start(uint16_t port, std::shared_ptr<Core> core) {
  WSADATA data{};
  if (::WSAStartup(MAKEWORD(2, 2), &data) != 0) return nullptr;
  SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (listener == INVALID_SOCKET ||
      ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, 4) != 0) {
    std::fprintf(stderr, "engine stand-in: cannot listen on 127.0.0.1:%u (error %d)\n", port,
                 ::WSAGetLastError());
    if (listener != INVALID_SOCKET) ::closesocket(listener);
    ::WSACleanup();
    return nullptr;
  }
  std::unique_ptr<DriverLink> link(new DriverLink(std::move(core), listener));
  link->thread_ = std::thread([raw = link.get()] { raw->Run(); });
  return link;
}

DriverLink::DriverLink(std::shared_ptr<Core> core, SOCKET listener)
    : core_(std::move(core)),
      listener_(listener),
      stopEvent_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

DriverLink::~DriverLink() {
  stopping_ = true;
  ::SetEvent(stopEvent_);
  if (thread_.joinable()) thread_.join();
  ::closesocket(listener_);
  ::CloseHandle(stopEvent_);
  ::WSACleanup();
}

void DriverLink::Run() {
  WSAEVENT acceptEvent = ::WSACreateEvent();
  ::WSAEventSelect(listener_, acceptEvent, FD_ACCEPT);
  std::unique_ptr<Connection> connection;
  std::optional<Clock::time_point> drainDeadline;

  for (;;) {
    if (stopping_ && !drainDeadline) drainDeadline = Clock::now() + kDrainTime;

    if (!connection) {
      // Nobody to give the rest to: what is still queued goes with the engine.
      if (stopping_) break;
      HANDLE waits[] = {stopEvent_, acceptEvent};
      const DWORD wait = ::WaitForMultipleObjects(2, waits, FALSE, INFINITE);
      if (wait != WAIT_OBJECT_0 + 1) continue;
      ::WSAResetEvent(acceptEvent);
      const SOCKET accepted = ::accept(listener_, nullptr, nullptr);
      if (accepted == INVALID_SOCKET) continue;
      connection = std::make_unique<Connection>(accepted, core_);
      if (!connection->Flush()) connection.reset();
      continue;
    }

    if (!connection->Flush()) {
      connection.reset();
      continue;
    }
    if (drainDeadline) {
      if ((connection->idle() && !core_->HasOutgoing()) || Clock::now() >= *drainDeadline) {
        connection->CloseGracefully(Clock::now() + kLingerTime);
        connection.reset();
        break;
      }
    }

    // Once stopping, the stop event stays set: leave it out, or the wait would spin.
    HANDLE waits[3] = {connection->event(), core_->outgoingEvent(), stopEvent_};
    const DWORD count = drainDeadline ? 2 : 3;
    const DWORD timeout = drainDeadline ? MillisUntil(*drainDeadline) : INFINITE;
    const DWORD wait = ::WaitForMultipleObjects(count, waits, FALSE, timeout);
    // A queued frame needs nothing here: the next round flushes it.
    if (wait == WAIT_OBJECT_0 && !connection->OnEvent(!stopping_)) connection.reset();
  }
  ::WSACloseEvent(acceptEvent);
}

}  // namespace standin
