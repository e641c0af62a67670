// Helpers shared by the Lumen tests.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ipmodel/Orv/NboAttrLog.h>

// Runs stmt, expecting exception type Ex whose message is exactly msg.
#define EXPECT_THROW_MSG(stmt, Ex, msg)                                       \
  do {                                                                        \
    try {                                                                     \
      stmt;                                                                   \
      ADD_FAILURE() << #stmt " did not throw";                                \
    } catch (const Ex& e) {                                                   \
      EXPECT_EQ(std::string(e.what()), std::string(msg));                     \
    } catch (const std::exception& e) {                                       \
      ADD_FAILURE() << #stmt " threw the wrong exception type: " << e.what(); \
    }                                                                         \
  } while (0)

// Reads a T from raw bytes and expects the read to fail with a message
// containing part.
template <class T>
void expectBadLog(const std::vector<std::uint8_t>& bytes, const std::string& part) {
  Orv::NboAttrLog::In in(bytes);
  T v;
  try {
    in >> v;
    ADD_FAILURE() << "read did not fail; expected '" << part << "'";
  } catch (const Orv::NboAttrLogException& e) {
    EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what();
  }
}
