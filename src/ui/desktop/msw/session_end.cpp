// SPDX-License-Identifier: MIT
// The end of the session, as Windows asks (WM_QUERYENDSESSION) and announces it (WM_ENDSESSION).
//
// Why handled here: the toolkit would close the main window in answer to the question, and the form
// may refuse that, or ask the user. After the announcement Windows ends the process as soon as the
// handler has returned. What is under way at that moment is taken up again at the next start.
#include "ui/desktop/native/session_end.h"

#include <wx/app.h>

#include <utility>

#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {

class SessionEnd::Client {
 public:
  explicit Client(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {
    wxTheApp->Bind(wxEVT_QUERY_END_SESSION, &Client::agree, this);
    wxTheApp->Bind(wxEVT_END_SESSION, &Client::end, this);
  }
  ~Client() {
    wxTheApp->Unbind(wxEVT_QUERY_END_SESSION, &Client::agree, this);
    wxTheApp->Unbind(wxEVT_END_SESSION, &Client::end, this);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

 private:
  // An event that is neither vetoed nor skipped agrees.
  void agree(wxCloseEvent&) {}
  void end(wxCloseEvent&) { guarded(onEnd_); }

  std::function<void()> onEnd_;
};

SessionEnd::SessionEnd(std::function<void()> onEnd)
    : client_(std::make_unique<Client>(std::move(onEnd))) {}

SessionEnd::~SessionEnd() = default;

}  // namespace relaybird::desktop
