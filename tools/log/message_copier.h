// Tables copied from one log to another with every field that the schema knows, by the schema
// itself: a field that is added there is copied too.

#ifndef RYX_LOG_MESSAGE_COPIER_H
#define RYX_LOG_MESSAGE_COPIER_H

#include <flatbuffers/idl.h>

#include <cstdint>

#include "profile_log_generated.h"

namespace reflection {
struct Object;
struct Schema;
}  // namespace reflection

namespace ryx::profiling {

class MessageCopier {
 public:
  MessageCopier();

  /// An upper bound of the bytes that a copy takes, for tables that have been verified. Much more
  /// than the original took where that shares its parts; 2^32 stands for anything above.
  [[nodiscard]] uint64_t sizeBound(const Message& message) const;
  [[nodiscard]] uint64_t sizeBound(const LogHeader& header) const;

  /// The copy's size needs to have been found to fit.
  [[nodiscard]] flatbuffers::Offset<Message> copy(const Message& message,
                                                  flatbuffers::FlatBufferBuilder& builder) const;
  [[nodiscard]] flatbuffers::Offset<LogHeader> copy(const LogHeader& header,
                                                    flatbuffers::FlatBufferBuilder& builder) const;

 private:
  flatbuffers::Parser parser_;  ///< owns the schema
  const reflection::Schema* schema_;
  const reflection::Object* message_;
  const reflection::Object* header_;
};

}  // namespace ryx::profiling

#endif
