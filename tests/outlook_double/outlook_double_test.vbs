' An independent late-bound client over the double: cscript /nologo outlook_double_test.vbs RESULT
' Each check that fails is a line; the last line is the number of checks.
Option Explicit
Dim checks, result, files
checks = 0
Set files = CreateObject("Scripting.FileSystemObject")
Set result = files.CreateTextFile(WScript.Arguments(0), True)

Sub Expect(what, is_, wanted)
  checks = checks + 1
  If is_ <> wanted Then result.WriteLine "FAILED " & what & ": " & is_ & " instead of " & wanted
End Sub

Dim control, application, items, unread, item, forward, safe, recipient
Set control = CreateObject("MailDouble.Control")
control.Do "reset"
control.Do "deliver" & vbTab & "subject=one" & vbTab & "body=first" & vbTab & "unread=0"
control.Do "deliver" & vbTab & "subject=two" & vbTab & "body=second" & vbTab & "file=a.txt:abc"
Set application = CreateObject("Outlook.Application")
Expect "version", application.Version, "16.0.0.1"
Set items = application.GetNamespace("MAPI").GetDefaultFolder(6).Items
Expect "count", items.Count, 2
Expect "default member", items(1).Subject, "one"
Set unread = items.Restrict("[Unread]=true")
Expect "unread count", unread.Count, 1
Set item = unread.Item(1)
Expect "subject", item.Subject, "two"
Expect "class", TypeName(item), "_MailItem"
Expect "attachment", item.Attachments(1).Size, 3
item.UnRead = False
Expect "mark", unread.Item(1).UnRead, False

Set forward = item.Forward
Set safe = CreateObject("Redemption.SafeMailItem")
Set safe.Item = forward
Set recipient = safe.Recipients.Add("ann@example.org")
recipient.Type = 3
safe.Send
Expect "sent", InStr(control.Do("sent"), "recipient=3:ann@example.org") > 0, True

On Error Resume Next
forward.Body = "too late"
Expect "error", Err.Number <> 0, True
Expect "error's text", Err.Description, "The item has been moved or deleted"
Expect "error's source", Err.Source, "Mail application"
On Error GoTo 0

result.WriteLine checks & " checks"
result.Close
