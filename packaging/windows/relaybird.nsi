; The installer for Windows: for one user, without an administrator. script/windows-package compiles it with
;   VERSION    the version, as in 1.2.3
;   OUTPUT     the file to write
;   ICON       the icon of the installer and the uninstaller
;   RUN_VALUE  the name of the program's value in the user's Run key
;   SIZE_KB    what is installed, in kilobytes
;   FILES      a folder with install.nsh, which has a File instruction for every file; keep.nsh, which jumps
;              to "next" if $0 is one of them; and installed-files.txt, which lists them
;
; Nothing is changed before the programs are known not to run, and the manual not to be shown. Then the list of files becomes that of the earlier
; version and this one, and the uninstaller is written, so that whatever is cut short can be removed. Files are
; written over those of the earlier version before those are deleted that this version does not have any more, so
; that an upgrade which fails leaves a program.
;
; Switches, beside those of every such installer (/S: no questions, /D=FOLDER):
;   relaybird-setup.exe /autostart, /noautostart   otherwise the start with the log-in stays as it is
;   uninstall.exe /settings                        deletes the settings too
; The exit code is 0 for success, 1 if the user has cancelled, 2 for a failure. A silent upgrade ends the
; program if it runs, and starts it again. What fails or is cancelled starts it again too.

; First, since other instructions would choose a target too. Its programs are for 64 bits, as ours are.
Target amd64-unicode
Name "Relaybird"
OutFile "${OUTPUT}"
RequestExecutionLevel user
SetCompressor /SOLID lzma
ManifestDPIAware true
AllowSkipFiles off
SpaceTexts none
BrandingText "Relaybird ${VERSION}"

!define UNINSTALL_KEYS "Software\Microsoft\Windows\CurrentVersion\Uninstall"
!define UNINSTALL_KEY "${UNINSTALL_KEYS}\Relaybird"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
; Where the system notes which of them the user has switched off in the Task Manager.
!define APPROVED_KEY "Software\Microsoft\Windows\CurrentVersion\Explorer\StartupApproved\Run"
; How long a program may take to end, in steps of 200 ms: until a person is asked, and without one. The latter is
; long, since a program ends when it was asked to, but not before a call of the mail application has returned.
!ifndef PATIENCE
  !define PATIENCE 100
!endif
!ifndef LONG_PATIENCE
  !define LONG_PATIENCE 3000
!endif

InstallDir "$LOCALAPPDATA\Programs\Relaybird"
InstallDirRegKey HKCU "${UNINSTALL_KEY}" "InstallLocation"

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "Relaybird"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "Relaybird installer"
VIAddVersionKey CompanyName "The Relaybird maintainers"
VIAddVersionKey LegalCopyright "The Relaybird maintainers, MIT licence"

!include MUI2.nsh
!include LogicLib.nsh
!include FileFunc.nsh
!include TextFunc.nsh
!include Sections.nsh

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_PAGE_HEADER_TEXT "Install Relaybird ${VERSION}"
!define MUI_PAGE_HEADER_SUBTEXT "For you alone, into your own folder for programs."
!define MUI_COMPONENTSPAGE_TEXT_TOP "Relaybird forwards newly arrived mail that passes your rules."
!define MUI_COMPONENTSPAGE_TEXT_COMPLIST "What to do:"
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!define MUI_PAGE_HEADER_TEXT "Remove Relaybird ${VERSION}"
!define MUI_PAGE_HEADER_SUBTEXT "Keep the settings if you may install it again."
!define MUI_COMPONENTSPAGE_TEXT_TOP "Your mail stays where it is."
!define MUI_COMPONENTSPAGE_TEXT_COMPLIST "What to remove:"
!insertmacro MUI_UNPAGE_COMPONENTS
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

Var closed    ; 1 if the program was asked to end, and is to be started again
Var held      ; the name of a file in $INSTDIR that cannot be written to; empty if there is none
Var autostart ; 1 if it started with the log-in before

; Deletes what a list of files names, apart from what keep.nsh knows if KEEP is there. A line with a
; backslash at its end is a folder, which is removed if it is empty.
!macro RemoveListed LIST KEEP
  ClearErrors
  FileOpen $1 "${LIST}" r
  ${IfNot} ${Errors}
    ${Do}
      ClearErrors
      FileRead $1 $0
      ${If} ${Errors}
        ${ExitDo}
      ${EndIf}
      ${TrimNewLines} $0 $0
      !if "${KEEP}" != ""
        !include "${KEEP}"
      !endif
      StrCpy $2 $0 1 -1
      ${If} $2 == "\"
        RMDir "$INSTDIR\$0"
      ${ElseIf} $0 != ""
        Delete "$INSTDIR\$0"
      ${EndIf}
      !if "${KEEP}" != ""
        next:
      !endif
    ${Loop}
    FileClose $1
  ${EndIf}
  ClearErrors
!macroend

; What installer and uninstaller share; the functions of an uninstaller have to begin with "un.".
!macro ClosingFunctions UN

; $1 becomes 1 if the file $0 of $INSTDIR cannot be written to: a program that runs, or a manual that is shown.
Function ${UN}IsHeld
  StrCpy $1 0
  ${If} ${FileExists} "$INSTDIR\$0"
  ${AndIfNot} ${FileExists} "$INSTDIR\$0\*.*"  ; a folder
    SetFileAttributes "$INSTDIR\$0" NORMAL
    ClearErrors
    FileOpen $2 "$INSTDIR\$0" a
    ${If} ${Errors}
      StrCpy $1 1
    ${Else}
      FileClose $2
    ${EndIf}
  ${EndIf}
  ClearErrors
FunctionEnd

; First what only a person can end or close, so that nothing has been asked to end yet if that stays. Without a
; person the program comes before the manual, which it may show itself.
Function ${UN}FindHeld
  StrCpy $held "relaybird-console.exe"
  StrCpy $0 $held
  Call ${UN}IsHeld
  ${If} $1 = 1
    Return
  ${EndIf}
  StrCpy $0 "relaybird.exe"
  Call ${UN}IsHeld
  StrCpy $3 $1
  StrCpy $0 "rbx.chm"
  Call ${UN}IsHeld
  StrCpy $held ""
  ${If} $1 = 1
    StrCpy $held "rbx.chm"
  ${EndIf}
  ${If} $3 = 1
    ${If} $held == ""
    ${OrIf} ${Silent}
      StrCpy $held "relaybird.exe"
    ${EndIf}
  ${EndIf}
FunctionEnd

; Asks the program of this folder to end, as the close button of its window does. Copies elsewhere go on.
Function ${UN}AskToEnd
  StrCpy $1 0
  ${Do}
    System::Call 'user32::FindWindowExW(p 0, p r1, p 0, p 0) p .r1'
    ${If} $1 P= 0
      ${ExitDo}
    ${EndIf}
    System::Call 'user32::GetWindowTextW(p r1, w .r2, i ${NSIS_MAX_STRLEN})'
    ; Its main window alone has a version in its title; other windows of the process are helpers.
    StrCpy $2 $2 11
    ${If} $2 == "Relaybird v"
      System::Call 'user32::GetWindowThreadProcessId(p r1, *i .r3)'
      System::Call 'kernel32::OpenProcess(i 0x1000, i 0, i r3) p .r4'  ; to query limited information
      StrCpy $5 ""
      System::Call 'kernel32::QueryFullProcessImageNameW(p r4, i 0, w .r5, *i ${NSIS_MAX_STRLEN})'
      System::Call 'kernel32::CloseHandle(p r4)'
      ${If} $5 == "$INSTDIR\relaybird.exe"
        System::Call 'user32::PostMessageW(p r1, i ${WM_CLOSE}, p 0, p 0)'
        StrCpy $closed 1
      ${EndIf}
    ${EndIf}
  ${Loop}
FunctionEnd

; Starts the program again that was asked to end, once it has ended. This one's window is hidden until then: there is
; nothing left to ask.
Function ${UN}StartAgain
  ${If} $closed <> 1
    Return
  ${EndIf}
  StrCpy $closed 0
  ${For} $9 1 ${LONG_PATIENCE}
    StrCpy $0 "relaybird.exe"
    Call ${UN}IsHeld
    ${If} $1 = 0
      ${If} ${FileExists} "$INSTDIR\relaybird.exe"
        SetOutPath $INSTDIR
        Exec '"$INSTDIR\relaybird.exe"'
      ${EndIf}
      Return
    ${EndIf}
    HideWindow
    Sleep 200
  ${Next}
FunctionEnd

; The user has cancelled.
Function ${UN}GiveUp
  Call ${UN}StartAgain
  SetErrorLevel 1
  Quit
FunctionEnd

Function ${UN}Fail
  Call ${UN}StartAgain
  SetErrorLevel 2
  Quit
FunctionEnd

; Asks whether the program may be ended. A console, which may do a script's work, and the manual are left to the user.
Function ${UN}AskPerson
  ${Select} $held
    ${Case} "relaybird.exe"
      MessageBox MB_OKCANCEL|MB_ICONEXCLAMATION \
        "Relaybird is running ($held). It has to end first, which stops forwarding. OK ends it." \
        /SD IDOK IDOK yes
    ${Case} "rbx.chm"
      MessageBox MB_OKCANCEL|MB_ICONEXCLAMATION \
        "The manual of Relaybird is open ($held). Close it, then press OK." \
        /SD IDOK IDOK yes
    ${CaseElse}
      MessageBox MB_OKCANCEL|MB_ICONEXCLAMATION \
        "Relaybird is running in a console ($held). It has to end first. Type quit there, then press OK." \
        /SD IDOK IDOK yes
  ${EndSelect}
  Call ${UN}GiveUp
  yes:
FunctionEnd

; Waits until $held can be written to. After that time it gives up if the user does, or if nobody can be asked.
Function ${UN}AwaitEnd
  ${Do}
    StrCpy $8 ${PATIENCE}
    ${If} $held == "relaybird.exe"
      Call ${UN}AskToEnd
      ${If} ${Silent}
      ${AndIf} $closed = 1
        StrCpy $8 ${LONG_PATIENCE}
      ${EndIf}
    ${EndIf}
    ${For} $9 1 $8
      StrCpy $0 $held
      Call ${UN}IsHeld
      ${If} $1 = 0
        Return
      ${EndIf}
      Sleep 200
    ${Next}
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION \
      "$INSTDIR\$held is still running, or cannot be replaced. End it, then press Retry." \
      /SD IDCANCEL IDRETRY again
    ${If} ${Silent}
      Call ${UN}Fail
    ${EndIf}
    Call ${UN}GiveUp
    again:
  ${Loop}
FunctionEnd

; Returns when no program of this folder runs and its manual is not shown. Otherwise it ends everything.
Function ${UN}EndPrograms
  ${Do}
    Call ${UN}FindHeld
    ${If} $held == ""
      Return
    ${EndIf}
    Call ${UN}AskPerson
    Call ${UN}AwaitEnd
  ${Loop}
FunctionEnd
!macroend
!insertmacro ClosingFunctions ""
!insertmacro ClosingFunctions "un."

Section "Relaybird" sectionPrograms
  SectionIn RO
  Call EndPrograms
  SetOutPath $PLUGINSDIR
  File "${FILES}/installed-files.txt"
  SetOutPath $INSTDIR
  Delete "$PLUGINSDIR\before.txt"
  CopyFiles /SILENT "$INSTDIR\installed-files.txt" "$PLUGINSDIR\before.txt"
  ClearErrors
  Call AppendList
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "Relaybird"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "Publisher" "The Relaybird maintainers"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "URLInfoAbout" "https://relaybird.org/"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\relaybird.exe"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
  !include "${FILES}/install.nsh"
  SetOutPath $INSTDIR
  ${If} ${Errors}
    MessageBox MB_OK|MB_ICONSTOP "Relaybird could not be written to $INSTDIR." /SD IDOK
    Call Fail
  ${EndIf}
  !insertmacro RemoveListed "$PLUGINSDIR\before.txt" "${FILES}/keep.nsh"
  File "${FILES}/installed-files.txt"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "EstimatedSize" ${SIZE_KB}

  ; The links start in $INSTDIR, as the folder for output is.
  CreateDirectory "$SMPROGRAMS\Relaybird"
  CreateShortcut "$SMPROGRAMS\Relaybird\Relaybird.lnk" "$INSTDIR\relaybird.exe"
  CreateShortcut "$SMPROGRAMS\Relaybird\Relaybird Console.lnk" "$INSTDIR\relaybird-console.exe"
  CreateShortcut "$SMPROGRAMS\Relaybird\Relaybird Manual.lnk" "$INSTDIR\rbx.chm"
SectionEnd

; The section at the end looks whether these are selected.
Section /o "Start with the desktop" sectionAutostart
SectionEnd
Section "Start now" sectionStart
SectionEnd

Section "-last"
  ; What is to stay as it was is not touched: the value may start another copy.
  ${If} ${SectionIsSelected} ${sectionAutostart}
    ${If} $autostart = 0
      WriteRegStr HKCU "${RUN_KEY}" "${RUN_VALUE}" '"$INSTDIR\relaybird.exe"'
      DeleteRegValue HKCU "${APPROVED_KEY}" "${RUN_VALUE}"
    ${EndIf}
  ${ElseIf} $autostart = 1
    DeleteRegValue HKCU "${RUN_KEY}" "${RUN_VALUE}"
  ${EndIf}
  ${If} ${SectionIsSelected} ${sectionStart}
  ${OrIf} $closed = 1
    Exec '"$INSTDIR\relaybird.exe"'
  ${EndIf}
SectionEnd

; Appends the list of this version to the one in $INSTDIR; the error flag tells a failure.
Function AppendList
  FileOpen $1 "$PLUGINSDIR\installed-files.txt" r
  FileOpen $2 "$INSTDIR\installed-files.txt" a
  FileSeek $2 0 END
  ${If} ${Errors}
    Return
  ${EndIf}
  ${Do}
    FileRead $1 $0
    ${If} ${Errors}
      ClearErrors
      ${ExitDo}
    ${EndIf}
    FileWrite $2 $0
  ${Loop}
  FileClose $1
  FileClose $2
FunctionEnd

; $autostart becomes 1 if the program starts with the log-in. The system's settings switch it off by a note, whose
; first byte is odd then.
Function ReadAutostart
  StrCpy $autostart 0
  ReadRegStr $0 HKCU "${RUN_KEY}" "${RUN_VALUE}"
  ${If} $0 == ""
    Return
  ${EndIf}
  StrCpy $autostart 1
  System::Alloc 64
  Pop $1
  ; HKEY_CURRENT_USER, and bytes only
  System::Call 'advapi32::RegGetValueW(p -2147483647, w "${APPROVED_KEY}", w "${RUN_VALUE}", i 8, p 0, p r1, *i 64) i .r2'
  ${If} $2 = 0
    System::Call '*$1(&i1 .r3)'
    IntOp $3 $3 & 1
    ${If} $3 = 1
      StrCpy $autostart 0
    ${EndIf}
  ${EndIf}
  System::Free $1
FunctionEnd

; A file could not be written, for example.
Function .onInstFailed
  Call StartAgain
FunctionEnd

Function .onInit
  SetRegView 64
  StrCpy $closed 0
  InitPluginsDir
  Call ReadAutostart
  ${If} $autostart = 1
    !insertmacro SelectSection ${sectionAutostart}
  ${EndIf}
  ; Without a person only what ran before is started.
  ${If} ${Silent}
    !insertmacro UnselectSection ${sectionStart}
  ${EndIf}
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/autostart" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${sectionAutostart}
  ${EndIf}
  ClearErrors
  ${GetOptions} $0 "/noautostart" $1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${sectionAutostart}
  ${EndIf}
  ClearErrors
FunctionEnd

LangString aboutPrograms ${LANG_ENGLISH} "The program, the console and the manual, with entries in the Start menu."
LangString aboutAutostart ${LANG_ENGLISH} "Whenever you log in. You can change this later in the program: File, Start with the desktop."
LangString aboutStart ${LANG_ENGLISH} "Opens the window when everything is installed."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${sectionPrograms} $(aboutPrograms)
  !insertmacro MUI_DESCRIPTION_TEXT ${sectionAutostart} $(aboutAutostart)
  !insertmacro MUI_DESCRIPTION_TEXT ${sectionStart} $(aboutStart)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Section "un.Relaybird" unPrograms
  SectionIn RO
  Call un.EndPrograms
  !insertmacro RemoveListed "$INSTDIR\installed-files.txt" ""
  Delete "$INSTDIR\installed-files.txt"
  Delete "$INSTDIR\uninstall.exe"
  ; Files that others have put there stay, and so does the folder then.
  RMDir "$INSTDIR"
  Delete "$SMPROGRAMS\Relaybird\Relaybird.lnk"
  Delete "$SMPROGRAMS\Relaybird\Relaybird Console.lnk"
  Delete "$SMPROGRAMS\Relaybird\Relaybird Manual.lnk"
  RMDir "$SMPROGRAMS\Relaybird"
  DeleteRegKey HKCU "${UNINSTALL_KEY}"
  DeleteRegKey /ifempty HKCU "${UNINSTALL_KEYS}"
  ; The value may start another copy of the program, which goes on.
  ReadRegStr $0 HKCU "${RUN_KEY}" "${RUN_VALUE}"
  ${If} $0 == '"$INSTDIR\relaybird.exe"'
  ${OrIf} $0 == "$INSTDIR\relaybird.exe"
    DeleteRegValue HKCU "${RUN_KEY}" "${RUN_VALUE}"
    DeleteRegValue HKCU "${APPROVED_KEY}" "${RUN_VALUE}"
  ${EndIf}
SectionEnd

Section /o "un.My settings, and all else that it keeps" unSettings
  RMDir /r "$APPDATA\rbx"
  RMDir /r "$LOCALAPPDATA\rbx"
  ; The file of earlier releases, and the note of a help file that was moved.
  Delete "$TEMPLATES\rbx.ini"
  Delete "$WINDIR\rbx.ini"
SectionEnd

Function un.onUninstFailed
  Call un.StartAgain
FunctionEnd

Function un.onInit
  SetRegView 64
  StrCpy $closed 0
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/settings" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${unSettings}
  ${EndIf}
  ClearErrors
FunctionEnd

LangString unAboutPrograms ${LANG_ENGLISH} "The program, the console, the manual and their entries in the Start menu."
LangString unAboutSettings ${LANG_ENGLISH} "Addresses, rules, and which mail was forwarded. This cannot be undone."
!insertmacro MUI_UNFUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${unPrograms} $(unAboutPrograms)
  !insertmacro MUI_DESCRIPTION_TEXT ${unSettings} $(unAboutSettings)
!insertmacro MUI_UNFUNCTION_DESCRIPTION_END
