// SPDX-License-Identifier: Apache-2.0
// The one place of the server that throws, and the one that sorts what was caught.
#include "server/qorRefusal.h"

#include <filesystem>
#include <utility>
#include <xapian.h>

#include "server/qorReplyWriter.h"

namespace orvix::server {

std::string inQuotes(std::string_view text) {
  constexpr std::size_t SHOWN = 200;
  const std::string_view shown = cutAtCharacter(text, SHOWN);
  return "\"" + std::string(shown) + (shown.size() < text.size() ? "...\"" : "\"");
}

void refuse(MessageId id, std::string text) { throw Refusal({id, std::move(text)}); }

Fault currentFault(const std::string& where) {
  try {
    throw;
  } catch (const Refusal& refusal) {
    return refusal.fault();
  } catch (const Xapian::Error& error) {
    return {MessageId::ENGINE_FAILED, where + ": the engine reports " + error.get_description()};
  } catch (const std::filesystem::filesystem_error& error) {
    return {MessageId::STORAGE_FAILED, where + ": " + error.what()};
  } catch (const std::bad_alloc&) {
    return {MessageId::INTERNAL_FAILURE, where + ": the server is out of memory; try again later"};
  } catch (const std::exception& error) {
    return {MessageId::INTERNAL_FAILURE, where + ": " + error.what()};
  } catch (...) {
    return {MessageId::INTERNAL_FAILURE, where + " for an unknown reason"};
  }
}

}  // namespace orvix::server
