// orx_serv_orx_print: formats a catalogue message for standard error or a test sink.
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "message_catalogue.h"
#include "orx/host.h"
#include "orx_serv.h"

namespace orx::host {

namespace {

constexpr const char* kUnnamedFunction = "(unnamed function)";

// Guards the sink and serializes calls to it, so a sink need not be thread-safe.
std::mutex g_sink_mutex;
orx_host_message_sink g_sink = nullptr;
void* g_sink_ctx = nullptr;

// Reads the arguments the catalogue promises and formats the line.
void format_message(const MessageEntry& entry, va_list args, orx_host_message& message, char* text,
                    size_t text_size) {
  const int used = std::snprintf(text, text_size, "orx message %d: ", entry.number);
  char* body = text + used;
  const size_t room = text_size - static_cast<size_t>(used);
  switch (entry.args) {
    case MessageArgs::kFunctionAndIndex: {
      const char* function = va_arg(args, const char*);
      message.function = function;
      message.index = va_arg(args, int);
      std::snprintf(body, room, entry.format, function ? function : kUnnamedFunction,
                    message.index);
      break;
    }
    case MessageArgs::kFunction: {
      const char* function = va_arg(args, const char*);
      message.function = function;
      std::snprintf(body, room, entry.format, function ? function : kUnnamedFunction);
      break;
    }
    case MessageArgs::kIndexAndValue:
      message.index = va_arg(args, int);
      message.value = va_arg(args, double);
      std::snprintf(body, room, entry.format, message.index, message.value);
      break;
  }
}

void deliver(const orx_host_message& message) {
  std::lock_guard lock(g_sink_mutex);
  if (g_sink != nullptr) {
    g_sink(&message, g_sink_ctx);
  } else {
    std::fprintf(stderr, "%s\n", message.text);  // one call: lines stay whole across threads
  }
}

}  // namespace

}  // namespace orx::host

void orx_serv_orx_print(int /*kind: every kind prints the same way*/, int message, int argc,
                        ...) noexcept {
  using namespace orx::host;
  char text[512];
  orx_host_message out{message, argc, nullptr, 0, 0.0, text};
  const MessageEntry* entry = find_message(message);
  if (entry != nullptr && argc == argument_count(entry->args)) {
    va_list args;
    va_start(args, argc);
    format_message(*entry, args, out, text, sizeof text);
    va_end(args);
  } else {  // the arguments' types are unknown: reading them would be undefined
    std::snprintf(text, sizeof text, "orx message %d", message);
  }
  try {
    deliver(out);
  } catch (...) {  // the sink lock failed: the message is dropped rather than crash
  }
}

void orx_host_test_capture_messages(orx_host_message_sink sink, void* ctx) noexcept {
  try {
    std::lock_guard lock(orx::host::g_sink_mutex);
    orx::host::g_sink = sink;
    orx::host::g_sink_ctx = ctx;
  } catch (...) {  // the lock failed: the previous destination stays
  }
}
