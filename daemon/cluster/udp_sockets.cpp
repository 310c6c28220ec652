#include "cluster/udp_sockets.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "alert_config.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "log.h"

namespace qel::daemon {

namespace {

constexpr size_t kBatch = 64;             // datagrams that one call of the kernel delivers at most
constexpr int kBatchesAtOnce = 64;        // before the tick or the intake have their turn
constexpr int kReceiveBuffer = 32 << 20;  // a burst of ten thousand alerts; only used when it comes
constexpr size_t kControlSize = 64;       // room for the kernel's drop counter

// The address as the lists of servers write it.
void put_address(const sockaddr_storage& from, char (&text)[INET6_ADDRSTRLEN]) {
  text[0] = '\0';
  if (from.ss_family == AF_INET) {
    sockaddr_in address;
    memcpy(&address, &from, sizeof address);
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
  } else if (from.ss_family == AF_INET6) {
    sockaddr_in6 address;
    memcpy(&address, &from, sizeof address);
    if (IN6_IS_ADDR_V4MAPPED(&address.sin6_addr)) {
      inet_ntop(AF_INET, &address.sin6_addr.s6_addr[12], text, sizeof text);
    } else {
      inet_ntop(AF_INET6, &address.sin6_addr, text, sizeof text);
    }
  }
}

struct AddressFree {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressFree>;

AddressList resolve(const char* address) {
  addrinfo hints = {};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* list = nullptr;
  const std::string port = std::to_string(alt_udp_port);
  return AddressList(getaddrinfo(address, port.c_str(), &hints, &list) == 0 ? list : nullptr);
}

// What is denied here only costs room or a number in the status.
void set_options(int fd, int family) {
  const int on = 1;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
  }
  setsockopt(fd, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
  if (family == AF_INET6) setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
}

// An interconnect that is down at the start must not keep the daemon from the others.
bool bind_now_or_later(int fd, const addrinfo& own, const char* address) {
  if (bind(fd, own.ai_addr, own.ai_addrlen) == 0) return true;
  if (errno != EADDRNOTAVAIL) return false;
  DAEMON_LOG(kFailure, "%s is no address of this server at the moment", address);
  const int on = 1;
  const bool ipv6 = own.ai_family == AF_INET6;
  return setsockopt(fd, ipv6 ? IPPROTO_IPV6 : IPPROTO_IP, ipv6 ? IPV6_FREEBIND : IP_FREEBIND, &on,
                    sizeof on) == 0 &&
         bind(fd, own.ai_addr, own.ai_addrlen) == 0;
}

bool read_drop_counter(msghdr* message, uint32_t* counter) {
  for (cmsghdr* part = CMSG_FIRSTHDR(message); part != nullptr; part = CMSG_NXTHDR(message, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SO_RXQ_OVFL) continue;
    memcpy(counter, CMSG_DATA(part), sizeof *counter);
    return true;
  }
  return false;
}

}  // namespace

// Buffers of one batch. The part of a buffer behind its datagram is zero: the last user's bytes are
// cleared before the next use.
struct UdpSockets::Batch {
  struct Slot {
    std::array<char, AL_MSG_BUFFER_SIZE> bytes = {};
    size_t used = 0;
    sockaddr_storage from = {};
    char sender[INET6_ADDRSTRLEN] = {};
    alignas(cmsghdr) std::array<char, kControlSize> control = {};
    iovec vector = {};
  };
  std::array<Slot, kBatch> slots;
  std::array<mmsghdr, kBatch> messages = {};
  std::array<Datagram, kBatch> datagrams = {};

  void prepare() {
    for (size_t i = 0; i < kBatch; ++i) {
      Slot& slot = slots[i];
      std::fill_n(slot.bytes.begin(), slot.used, '\0');
      slot.used = 0;
      // A datagram that would fill the buffer is longer than any message.
      slot.vector = {slot.bytes.data(), slot.bytes.size()};
      msghdr& head = messages[i].msg_hdr;
      head = {};
      head.msg_name = &slot.from;
      head.msg_namelen = sizeof slot.from;
      head.msg_iov = &slot.vector;
      head.msg_iovlen = 1;
      head.msg_control = slot.control.data();
      head.msg_controllen = slot.control.size();
    }
  }

  void take(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      Slot& slot = slots[i];
      slot.used = messages[i].msg_len;
      put_address(slot.from, slot.sender);
      datagrams[i] = {slot.bytes.data(), slot.used, slot.sender};
    }
  }
};

UdpSockets::UdpSockets(Receive receive)
    : receive_(std::move(receive)), batch_(std::make_unique<Batch>()) {}

UdpSockets::~UdpSockets() = default;

bool UdpSockets::open(sd_event* event, std::string* error) {
  sockets_.clear();  // an address cannot be bound twice
  for (int i = 0; local_svr != nullptr && i < local_svr->ip_num; ++i) {
    auto socket = listen(event, local_svr->ip_addr[i].ip, error);
    if (socket == nullptr) return false;
    sockets_.push_back(std::move(socket));
  }
  return true;
}

std::unique_ptr<UdpSockets::Socket> UdpSockets::listen(sd_event* event, const char* address,
                                                       std::string* error) {
  const auto fail = [&](const char* reason) {
    *error = "no datagrams can be received at " + std::string(address) + " port " +
             std::to_string(alt_udp_port) + ": " + reason;
    return nullptr;
  };
  const AddressList own = resolve(address);
  if (own == nullptr) return fail("it is no numeric address");
  UniqueFd fd(::socket(own->ai_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) return fail(strerror(errno));
  set_options(fd.get(), own->ai_family);
  if (!bind_now_or_later(fd.get(), *own, address)) return fail(strerror(errno));
  auto socket = std::make_unique<Socket>(Socket{this, std::move(fd), nullptr, 0});
  sd_event_source* source = nullptr;
  const int result =
      sd_event_add_io(event, &source, socket->fd.get(), EPOLLIN, on_readable, socket.get());
  if (result < 0) return fail(strerror(-result));
  socket->source.reset(source);
  return socket;
}

int UdpSockets::on_readable(sd_event_source*, int, uint32_t, void* self) {
  auto* socket = static_cast<Socket*>(self);
  socket->owner->receive_batch(socket);
  return 0;
}

void UdpSockets::receive_waiting() {
  for (const auto& socket : sockets_) {
    for (int i = 0; i < kBatchesAtOnce && receive_batch(socket.get()) == kBatch; ++i) {
    }
  }
}

// The number of datagrams received.
size_t UdpSockets::receive_batch(Socket* socket) {
  batch_->prepare();
  const int got =
      recvmmsg(socket->fd.get(), batch_->messages.data(), kBatch, MSG_DONTWAIT, nullptr);
  if (got <= 0) return 0;  // an error of an earlier datagram, or nothing there: the next call tells
  const auto count = static_cast<size_t>(got);
  uint32_t counter = socket->dropped;
  read_drop_counter(&batch_->messages[count - 1].msg_hdr, &counter);
  if (counter != socket->dropped) {
    dropped_ += counter - socket->dropped;
    socket->dropped = counter;
    DAEMON_LOG(kDetail, "the kernel dropped %u datagrams so far", counter);
  }
  batch_->take(count);
  receive_(batch_->datagrams.data(), count);
  return count;
}

}  // namespace qel::daemon
