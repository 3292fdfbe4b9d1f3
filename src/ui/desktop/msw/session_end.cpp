// SPDX-License-Identifier: MIT
// The end of the session, as Windows asks (WM_QUERYENDSESSION) and announces it (WM_ENDSESSION).
//
// Why the main window's messages are handled here: the toolkit would close that window in answer to
// the question, and the form may refuse that, or ask the user. Windows ends the process when the
// last of its windows has answered the announcement; the hidden one answers when all is saved.
#include "ui/desktop/native/session_end.h"

#include <wx/app.h>

#include <utility>

#include "platform/win32/session_end_window.h"
#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {

class SessionEnd::Client : public wxEvtHandler {
 public:
  explicit Client(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {
    wxTheApp->Bind(wxEVT_QUERY_END_SESSION, &Client::agree, this);
    wxTheApp->Bind(wxEVT_END_SESSION, &Client::end, this);
  }
  ~Client() override {
    wxTheApp->Unbind(wxEVT_QUERY_END_SESSION, &Client::agree, this);
    wxTheApp->Unbind(wxEVT_END_SESSION, &Client::end, this);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

 private:
  // An event that is neither vetoed nor skipped agrees.
  void agree(wxCloseEvent&) {}
  // Called inside a message that is being sent, where COM refuses calls to the mail application.
  void end(wxCloseEvent&) { later(*this, onEnd_); }

  std::function<void()> onEnd_;
  SessionEndWindow window_{[this] { later(*this, onEnd_); },
                           "A check of the inbox is brought to its end."};
};

SessionEnd::SessionEnd(std::function<void()> onEnd)
    : client_(std::make_unique<Client>(std::move(onEnd))) {}

SessionEnd::~SessionEnd() = default;

}  // namespace relaybird::desktop
