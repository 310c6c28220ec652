// Answers as libmicrohttpd sends them.
#pragma once

#include <microhttpd.h>

#include "message.h"
#include "streams.h"

namespace qel::web {

struct ReplyDestroy {
  void operator()(MHD_Response* reply) const { MHD_destroy_response(reply); }
};
using Reply = std::unique_ptr<MHD_Response, ReplyDestroy>;

// The answer with its headers and those that every answer has. A stream becomes one of `streams`; a
// body that fails while it is sent is told to `log`, which must outlive it. Throws when a header
// cannot be sent.
Reply make_reply(Response response, MHD_Connection* connection, Streams& streams, const Log& log);

// The same without a body, of which only the size is told when it is known.
Reply make_reply_to_head(Response response);

}  // namespace qel::web
