// The texts of messages 735..753 and the arguments each one carries.
#ifndef ORX_HOST_MESSAGE_CATALOGUE_H
#define ORX_HOST_MESSAGE_CATALOGUE_H

namespace orx::host {

enum class MessageArgs {
  kFunctionAndIndex,  // (const char* function, int index)
  kFunction,          // (const char* function)
  kIndexAndValue,     // (int index, double value)
};

struct MessageEntry {
  int number;
  MessageArgs args;
  const char* format;  // printf format taking the arguments in order
};

int argument_count(MessageArgs args);

// Null for a number outside the catalogue.
const MessageEntry* find_message(int number);

}  // namespace orx::host

#endif
