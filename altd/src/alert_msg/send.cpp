// Sending: one datagram a call, each through a socket of its own, so that the source address always
// follows the destination's interconnect.
#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>

#include "alert_msg/steps.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::kDetail;
using qel::kFailure;
using qel::kTrace;

namespace {

struct AddressFree {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressFree>;

// The local address on an interconnect; null when this server is not on it.
const char* source_address(int device_id) {
  for (int i = 0; local_svr != nullptr && i < local_svr->ip_num; ++i) {
    if (local_svr->ip_addr[i].device_id == device_id) return local_svr->ip_addr[i].ip;
  }
  return nullptr;
}

AddressList resolve(const char* address, const char* port) {
  addrinfo hints = {};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* list = nullptr;
  return AddressList(getaddrinfo(address, port, &hints, &list) == 0 ? list : nullptr);
}

int open_socket(const addrinfo& destination, const char* address) {
  const int fd = socket(destination.ai_family, destination.ai_socktype | SOCK_CLOEXEC,
                        destination.ai_protocol);
  if (fd < 0) {
    ALERT_LOG(kFailure, "dst addr: %s, socket(family: %d) failed: %d", address,
              destination.ai_family, errno);
  } else {
    ALERT_LOG(kDetail, "create socket ok, dest_addr is %s.", address);
  }
  return fd;
}

// Sends from `from` to `to`; both are numeric texts.
int send_datagram(const char* datagram, size_t size, const char* from, const char* to) {
  char port[16];
  snprintf(port, sizeof port, "%d", alt_udp_port);
  const AddressList destination = resolve(to, port);
  if (destination == nullptr) {
    ALERT_LOG(kFailure, "addr: %s, getaddrinfo() failed: %d", to, errno);
    return -1;
  }
  const AddressList source = resolve(from, nullptr);
  if (source == nullptr) {
    ALERT_LOG(kFailure, "get (%s) addrinfo failed.", from);
    return -1;
  }
  const qel::Descriptor fd(open_socket(*destination, to));
  if (!fd.valid()) return -1;
  // An address that is away for the moment: the request stays in the history and is tried again.
  if (bind(fd.get(), source->ai_addr, source->ai_addrlen) != 0) {
    ALERT_LOG(kDetail, "Bind %s failed. errno=%d.", from, errno);
    return 0;
  }
  ALERT_LOG(kDetail, "Bind %s OK. ", from);
  const ssize_t sent =
      sendto(fd.get(), datagram, size, 0, destination->ai_addr, destination->ai_addrlen);
  if (sent == static_cast<ssize_t>(size)) return 0;
  ALERT_LOG(kFailure, "write_len (%d) != real_len (%d), errcode = %d.", static_cast<int>(sent),
            static_cast<int>(size), errno);
  return -1;
}

void log_request(const al_msg_header& head) {
  ALERT_LOG(kTrace, "=========== request msg info ===========");
  ALERT_LOG(kTrace, "msg type :%d", static_cast<int>(head.msg_type));
  ALERT_LOG(kTrace, "msg sequence :%d", static_cast<int>(head.sequence));
  ALERT_LOG(kTrace, "msg length :%d", static_cast<int>(head.data_len));
  ALERT_LOG(kTrace, "msg target :%.*s", AL_MSG_ADDRESS_SIZE, head.dst_addr);
  ALERT_LOG(kTrace, "msg reserve1 :%d", static_cast<int>(head.reserve1));
  ALERT_LOG(kTrace, "msg reserve2 :%d", static_cast<int>(head.reserve2));
}

// Without memory the message goes; its payload may belong to messages that were filed before it, so
// that one is left to the sender of the request.
void file_request(al_msg* msg) {
  const bool still_ours = msg->msg_head->sequence != 0;
  if (add_to_send_hist(msg) == 0) {
    ALERT_LOG(kTrace, "add message to send history succeeded");
    return;
  }
  ALERT_LOG(kTrace, "add message to send history failed");
  if (!still_ours) return;
  msg->msg_data = nullptr;
  al_msg_del(msg);
}

}  // namespace

void qel::address_request(al_msg* request, const char* addr, int device_id, uint32_t msg_type) {
  al_msg_header& head = *request->msg_head;
  head.msg_type = msg_type;
  head.sequence = sequencenum;
  head.reserve2 = static_cast<uint32_t>(device_id);
  snprintf(head.dst_addr, sizeof head.dst_addr, "%s", addr);
}

void qel::address_reply(al_msg* reply, const al_msg& request, const char* addr, uint32_t msg_type) {
  al_msg_header& head = *reply->msg_head;
  head.msg_type = msg_type;
  head.sequence = request.msg_head->sequence;
  head.reserve2 = request.msg_head->reserve2;
  snprintf(head.dst_addr, sizeof head.dst_addr, "%s", addr);
}

int send_msg(al_msg* msg) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr) {
    ALERT_LOG(kFailure, "parameter error, msg is NULL");
    return -1;
  }
  const qel::Block<char> datagram(msg_to_string(msg));
  if (datagram == nullptr) {
    ALERT_LOG(kFailure, "call msg_to_string failed");
    return -1;
  }
  const al_msg_header& head = *msg->msg_head;
  const qel::AddressText destination(*msg);
  const char* source = source_address(static_cast<int>(head.reserve2));
  if (source == nullptr) {
    ALERT_LOG(kFailure, "send to(%s)failed.", destination.text);
    return -1;
  }
  if (head.dst_addr[0] == '\0') {
    ALERT_LOG(kDetail, "skip sendto dst if IP address is empty string.");
    return 0;
  }
  return send_datagram(datagram.get(), AL_MSG_HEADER_SIZE + size_t{head.data_len}, source,
                       destination.text);
}

int send_request_msg(al_msg* msg) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr) {
    ALERT_LOG(kFailure, "parameter error: msg is NULL");
    return -1;
  }
  int result = 0;
  if (msg->msg_head->msg_type == AL_MSGTYPE_SYNC_REQUEST_DATA) {
    ALERT_LOG(kTrace, "sync data message, add to send hist directly");
  } else if (send_msg(msg) == -1) {
    result = -1;
  } else {
    log_request(*msg->msg_head);
  }
  file_request(msg);
  return result;
}

int send_reply_msg(al_msg* msg, const char* addr, uint32_t msg_type) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const qel::Message reply(al_msg_new());
  if (reply == nullptr) {
    ALERT_LOG(kFailure, "create reply message failed");
    return -1;
  }
  ALERT_LOG(kTrace, "the message type is: %#x", msg_type);
  qel::address_reply(reply.get(), *msg, addr, msg_type);
  if (send_msg(reply.get()) == 0) return 0;
  ALERT_LOG(kFailure, "send reply message failed");
  return -1;
}
