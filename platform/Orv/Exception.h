// The framework's exceptions. what() returns exactly the message text, stray
// characters included.
#pragma once

#include <exception>
#include <string>

#include <ipmodel/Orv/Export.h>

namespace Orv {

class IPMODEL_API Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }
  const std::string& message() const noexcept { return message_; }

 private:
  std::string message_;
};

// A caller's value is out of range (including null pointers handed to mutators).
class IPMODEL_API RangeException : public Exception {
 public:
  using Exception::Exception;
};

// A keyed entity would be reinstantiated with different constructor parameters.
class IPMODEL_API NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

// Text handed to a reader does not match the type's textual form. attribute()
// names the attribute whose text failed (empty when the failure is outside
// any attribute).
class IPMODEL_API StrepReadException : public Exception {
 public:
  StrepReadException(std::string message, std::string typeName = {}, std::string attribute = {})
      : Exception(std::move(message)),
        typeName_(std::move(typeName)),
        attribute_(std::move(attribute)) {}
  const std::string& typeName() const noexcept { return typeName_; }
  const std::string& attribute() const noexcept { return attribute_; }

 private:
  std::string typeName_;
  std::string attribute_;
};

// Bytes from another process do not form a valid attribute log.
class IPMODEL_API NboAttrLogException : public Exception {
 public:
  using Exception::Exception;
};

// A remote write reached a read-only proxy.
class IPMODEL_API ReadOnlyProxyException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Orv
