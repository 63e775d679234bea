#include "client_thread.h"

namespace tavrin::httpclient_curl::detail {
namespace {

thread_local bool isClientThread = false;

}  // namespace

void markAsClientThread() noexcept { isClientThread = true; }

bool onClientThread() noexcept { return isClientThread; }

}  // namespace tavrin::httpclient_curl::detail
