#pragma once
// Which requests are let in: those of our own page, and of whoever was told its address.

#include <optional>
#include <string>

#include "programs/page/messages.h"

namespace focusfall {

// What of a request decides.
struct request_head {
    std::string method;
    std::string target;  // as in "/TOKEN/api/edit?x=1"
    std::string host;    // the headers of that name; empty: none
    std::string origin;
};

// 128 random bits as 32 digits. Throws headless::host_error when the system has none.
std::string random_token();

// A page of the web that a browser shows can send requests here too, under another name
// of this machine even with answers it may read; so host and origin count beside the
// token, which other users of the machine do not know.
class request_rules {
  public:
    request_rules(std::string token, int port) : token_(std::move(token)), port_(port) {}

    // Either the answer that refuses the request, or nothing: then `request` has its
    // path and query. Throws nothing but std::bad_alloc. [any thread]
    std::optional<page_answer> refusal(const request_head& head,
                                       page_request& request) const;

  private:
    std::string token_;
    int port_;
};

}  // namespace focusfall
