// Bytelog: format bookkeeping and the reader.
#include <ipmodel/Bytelog/Bytelog.h>

#include <unordered_map>

namespace Bytelog {

using Orv::NboAttrLog::In;

void Log::clear() {
  out_.drain();
  formats_.clear();
}

std::uint32_t Log::formatId(const char* fmt) {
  auto it = formats_.find(fmt);
  if (it != formats_.end()) return it->second;
  const auto id = static_cast<std::uint32_t>(formats_.size() + 1);
  formats_.emplace(fmt, id);
  out_.writeU8(1);
  out_.writeU32(id);
  out_.writeString(fmt);
  return id;
}

Log& defaultLog() {
  static Log log;
  return log;
}

namespace {

std::string argText(In& in) {
  const std::size_t at = in.offset();
  switch (in.readU8()) {
    case 'u':
      return std::to_string(in.readU64());
    case 'i':
      return std::to_string(static_cast<std::int64_t>(in.readU64()));
    case 'b':
      return in.readBool() ? "1" : "0";
    case 's':
      return in.readString();
    default:
      in.fail("unknown argument kind", at);
  }
}

// Replaces each conversion of fmt with the next argument.
std::string render(const std::string& fmt, const std::vector<std::string>& args) {
  std::string out;
  std::size_t next = 0;
  for (std::size_t i = 0; i < fmt.size(); ++i) {
    if (fmt[i] != '%') {
      out += fmt[i];
      continue;
    }
    if (i + 1 < fmt.size() && fmt[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    std::size_t j = i + 1;
    while (j < fmt.size() && (fmt[j] == 'l' || fmt[j] == 'z')) ++j;
    if (j < fmt.size() && (fmt[j] == 's' || fmt[j] == 'd' || fmt[j] == 'i' || fmt[j] == 'u')) {
      out += next < args.size() ? args[next] : "<missing>";
      ++next;
      i = j;
      continue;
    }
    out += '%';
  }
  return out;
}

}  // namespace

std::vector<std::string> print(const std::uint8_t* data, std::size_t n) {
  In in(data, n);
  std::unordered_map<std::uint32_t, std::string> formats;
  std::vector<std::string> lines;
  while (!in.atEnd()) {
    const std::size_t at = in.offset();
    const std::uint8_t kind = in.readU8();
    const std::uint32_t id = in.readU32();
    if (kind == 1) {
      formats[id] = in.readString();
    } else if (kind == 2) {
      auto f = formats.find(id);
      if (f == formats.end()) in.fail("message with undefined format " + std::to_string(id), at);
      const std::uint8_t count = in.readU8();
      std::vector<std::string> args;
      for (std::uint8_t i = 0; i < count; ++i) args.push_back(argText(in));
      lines.push_back(render(f->second, args));
    } else {
      in.fail("unknown record kind " + std::to_string(kind), at);
    }
  }
  return lines;
}

}  // namespace Bytelog
