#include "engine_driver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

namespace driver {

namespace {

using Clock = std::chrono::steady_clock;

std::string Millis(Timeout timeout) { return std::to_string(timeout.count()) + " ms"; }

std::string SystemError(const char* call) {
  return std::string(call) + " failed: " + std::strerror(errno);
}

}  // namespace

Bytes ToBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::string ToString(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

std::unique_ptr<EngineDriver> EngineDriver::Connect(uint16_t port, Timeout timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string lastError = "no attempt";
  do {
    const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (s < 0) throw DriverError(SystemError("socket"));
    if (::connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      const int one = 1;
      ::setsockopt(s, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      return std::unique_ptr<EngineDriver>(new EngineDriver(s));
    }
    lastError = SystemError("connect");
    ::close(s);
    // The app opens its port only once its engine exists: keep knocking until then.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  } while (Clock::now() < deadline);
  throw DriverError("could not connect to 127.0.0.1:" + std::to_string(port) + " within " +
                    Millis(timeout) + " (" + lastError + ")");
}

EngineDriver::EngineDriver(int socket) : socket_(socket) {}

EngineDriver::~EngineDriver() { Close(); }

void EngineDriver::Close() {
  if (socket_ >= 0) {
    ::close(socket_);
    socket_ = -1;
  }
}

uint32_t EngineDriver::NextId() {
  static std::atomic<uint32_t> next{1};
  uint32_t id = next.fetch_add(1);
  if (id == 0) id = next.fetch_add(1);  // 0 is the "no reply wanted" id of kind 3
  return id;
}

void EngineDriver::SendFrame(const frames::Frame& frame) {
  const std::optional<Bytes> bytes = frames::Encode(frame);
  if (!bytes) throw DriverError("frame cannot be encoded: " + frames::Describe(frame));
  SendBytes(*bytes);
}

void EngineDriver::SendBytes(const Bytes& bytes) {
  if (socket_ < 0) throw DriverError("send on a closed driver connection");
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) throw DriverError(SystemError("send"));
    sent += static_cast<size_t>(n);
  }
}

bool EngineDriver::ReadSome(Clock::time_point deadline, const std::string& what) {
  if (socket_ < 0)
    throw DriverError("read on a closed driver connection while waiting for " + what);
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) return false;
  pollfd p{socket_, POLLIN, 0};
  const int ready = ::poll(&p, 1, static_cast<int>(left.count()));
  if (ready < 0 && errno == EINTR) return true;
  if (ready < 0) throw DriverError(SystemError("poll"));
  if (ready == 0) return false;

  uint8_t buffer[64 * 1024];
  const ssize_t n = ::recv(socket_, buffer, sizeof buffer, 0);
  if (n < 0 && errno == EINTR) return true;
  if (n < 0 && errno != ECONNRESET) throw DriverError(SystemError("recv"));
  if (n <= 0) {
    closedByApp_ = true;
    return true;
  }
  reader_.Append({buffer, static_cast<size_t>(n)});
  frames::Frame frame;
  frames::FrameReader::Status status;
  while ((status = reader_.Next(frame)) == frames::FrameReader::Status::kFrame)
    Accept(std::move(frame));
  if (status == frames::FrameReader::Status::kMalformed) {
    throw DriverError(std::string("malformed frame from the app (") +
                      frames::DescribeError(reader_.error()) + ") while waiting for " + what);
  }
  return true;
}

void EngineDriver::Accept(frames::Frame frame) {
  if (const auto* message = std::get_if<frames::NativeMessage>(&frame)) {
    const auto handler = handlers_.find(message->channel);
    if (handler != handlers_.end()) {
      std::optional<Bytes> answer = handler->second(*message);
      if (message->id != 0 && answer) Reply(message->id, *answer);
      return;
    }
  }
  pending_.push_back(std::move(frame));
}

std::string EngineDriver::PendingSummary() const {
  if (pending_.empty()) return "nothing else arrived";
  std::string text = std::to_string(pending_.size()) + " other frame(s) arrived:";
  size_t shown = 0;
  for (const frames::Frame& frame : pending_) {
    if (++shown > 20) {
      text += " ...";
      break;
    }
    text += " {" + frames::Describe(frame) + "}";
  }
  return text;
}

frames::Frame EngineDriver::WaitFor(const Match& match, const std::string& what, Timeout timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  size_t checked = 0;
  for (;;) {
    // Frames that arrived during an earlier wait are looked at first, and only once each.
    for (; checked < pending_.size(); ++checked) {
      if (match(pending_[checked])) {
        frames::Frame found = std::move(pending_[checked]);
        pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(checked));
        return found;
      }
    }
    if (closedByApp_) {
      throw DriverError("the app closed the connection while the driver waited for " + what + "; " +
                        PendingSummary());
    }
    if (!ReadSome(deadline, what)) {
      throw DriverError("timed out after " + Millis(timeout) + " waiting for " + what + "; " +
                        PendingSummary());
    }
  }
}

frames::Frame EngineDriver::NextFrame(Timeout timeout) {
  return WaitFor([](const frames::Frame&) { return true; }, "any frame", timeout);
}

uint32_t EngineDriver::PostMessage(const std::string& channel, const Bytes& payload) {
  const uint32_t id = NextId();
  SendFrame(frames::Message{id, channel, payload});
  return id;
}

Bytes EngineDriver::WaitForResponse(uint32_t id, Timeout timeout) {
  frames::Frame frame = WaitFor(
      [id](const frames::Frame& f) {
        const auto* response = std::get_if<frames::Response>(&f);
        return response && response->id == id;
      },
      "the response to message " + std::to_string(id), timeout);
  return std::get<frames::Response>(std::move(frame)).payload;
}

Bytes EngineDriver::SendMessage(const std::string& channel, const Bytes& payload, Timeout timeout) {
  return WaitForResponse(PostMessage(channel, payload), timeout);
}

void EngineDriver::SetNativeHandler(const std::string& channel, NativeHandler handler) {
  if (handler) {
    handlers_[channel] = std::move(handler);
  } else {
    handlers_.erase(channel);
  }
}

frames::NativeMessage EngineDriver::WaitForNativeMessage(const std::string& channel,
                                                         Timeout timeout) {
  frames::Frame frame = WaitFor(
      [&channel](const frames::Frame& f) {
        const auto* message = std::get_if<frames::NativeMessage>(&f);
        return message && message->channel == channel;
      },
      "a native message on " + channel, timeout);
  return std::get<frames::NativeMessage>(std::move(frame));
}

void EngineDriver::Reply(uint32_t id, const Bytes& payload) {
  SendFrame(frames::NativeReply{id, payload});
}

std::string EngineDriver::WaitForEvent(const std::string& name, Timeout timeout) {
  frames::Frame frame = WaitFor(
      [&name](const frames::Frame& f) {
        const auto* event = std::get_if<frames::Event>(&f);
        return event && event->name == name;
      },
      "event " + name, timeout);
  return std::get<frames::Event>(std::move(frame)).text;
}

void EngineDriver::WaitForHandlerSet(const std::string& channel, Timeout timeout) {
  WaitFor(
      [&channel](const frames::Frame& f) {
        const auto* event = std::get_if<frames::Event>(&f);
        return event && event->name == "handler-set" && event->text == channel;
      },
      "handler-set of " + channel, timeout);
}

int64_t EngineDriver::SendWindowMessage(uint32_t message, uint64_t wparam, uint64_t lparam,
                                        const Bytes& payload, Timeout timeout) {
  const uint32_t id = NextId();
  SendFrame(frames::WindowMessage{id, message, wparam, lparam, payload});
  frames::Frame frame = WaitFor(
      [id](const frames::Frame& f) {
        const auto* result = std::get_if<frames::WindowResult>(&f);
        return result && result->id == id;
      },
      "the result of window message " + std::to_string(id), timeout);
  return std::get<frames::WindowResult>(frame).result;
}

frames::CallResult EngineDriver::CallExport(const std::string& name,
                                            std::vector<frames::CallArgument> args,
                                            Timeout timeout) {
  const uint32_t id = NextId();
  SendFrame(frames::Call{id, name, std::move(args)});
  frames::Frame frame = WaitFor(
      [id](const frames::Frame& f) {
        const auto* result = std::get_if<frames::CallResult>(&f);
        return result && result->id == id;
      },
      "the result of calling " + name, timeout);
  return std::get<frames::CallResult>(std::move(frame));
}

void EngineDriver::WaitForClose(Timeout timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  while (!closedByApp_) {
    if (!ReadSome(deadline, "the app to close the connection")) {
      throw DriverError("timed out after " + Millis(timeout) +
                        " waiting for the app to close the connection; " + PendingSummary());
    }
  }
}

}  // namespace driver
