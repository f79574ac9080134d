#include "cli/render/worker_messages.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

using Fault = WorkerReport::Fault;

void SetText(WorkerReport& report, std::string_view text) {
  std::memcpy(report.text, text.data(), std::min(text.size(), sizeof report.text - 1));
}

WorkerReport Failure(std::int32_t index, Fault fault, std::string_view text) {
  WorkerReport report;
  report.kind = WorkerReport::Kind::kFailed;
  report.index = index;
  report.fault = fault;
  SetText(report, text);
  return report;
}

}  // namespace

WorkerReport ReportOfFailure(std::int32_t index) {
  try {
    throw;
  } catch (const stage::Interrupted& interrupted) {
    return Failure(index, Fault::kInterrupted, interrupted.what());
  } catch (const stage::InputError& error) {
    return Failure(index, Fault::kInput, error.what());
  } catch (const stage::EffectError& error) {
    WorkerReport report = Failure(index, Fault::kEffect, error.message);
    report.effectCode = error.code;
    return report;
  } catch (const std::bad_alloc&) {
    return Failure(index, Fault::kMemory, "");
  } catch (const std::exception& error) {
    return Failure(index, Fault::kWork, error.what());
  }
}

WorkerReport NoteReport(const std::string& text) {
  WorkerReport report;
  report.kind = WorkerReport::Kind::kNote;
  SetText(report, text);
  return report;
}

void ThrowReported(const WorkerReport& report) {
  switch (report.fault) {
    case Fault::kInput:
      throw stage::InputError(report.text);
    case Fault::kEffect:
      throw stage::EffectError(report.effectCode, report.text);
    case Fault::kMemory:
      throw std::bad_alloc();
    case Fault::kInterrupted:
      throw stage::Interrupted();
    default:
      throw stage::WorkError(report.text);
  }
}

bool SendRecord(int socket, const void* record, std::size_t size) {
  ssize_t sent = 0;
  do {
    sent = send(socket, record, size, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(size);
}

bool ReceiveRecord(int socket, void* record, std::size_t size) {
  ssize_t received = 0;
  // When the other side ends with an order of ours unread, the system reports that once (ECONNRESET), before the
  // records that the other side sent earlier.
  do {
    received = recv(socket, record, size, 0);
  } while (received < 0 && (errno == EINTR || errno == ECONNRESET));
  return received == static_cast<ssize_t>(size);
}

}  // namespace orvandel::cli
