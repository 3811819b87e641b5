; The installer of the updater for Windows 10 and 11. packaging/windows/pack calls it with:
;
;   VERSION      the program's, as in 1.0.0
;   SET_VERSION  the release set's, as in D.02n
;   NOTE         empty, or what the user must know of this build
;   CONTENTS     a file that defines the macros InstallFiles and RemoveFiles
;   PUBLISHER, HOMEPAGE  the owner's
;   ICON, OUT    the icon and the installer's own file
;   SIGN         when it is to be signed: a command that signs the uninstaller, whose path is appended
;
; /S installs and removes without asking. The exit code is 1 when the user cancels, and, with nothing changed,
; 2 while the updater or one of its helpers is running or where the older version cannot be removed, and 3 if a
; newer release, or one for machines, is not replaced; /REPLACE replaces it. It is 4 when files could not be
; written: the older version has gone by then.
Unicode true
Target amd64-unicode ; the default is 32 bit

!define NAME "Annealing DB Updater"
!define PROGRAM "annealing-db-updater.exe"
!define DOCTOR "annealing-db-updater-doctor.exe"
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\annealing-db-updater"
!define OWN "Software\annealing-db-updater"
!define MENU "$SMPROGRAMS\${NAME}"

!include "MUI2.nsh"
!include "LogicLib.nsh"
!include "FileFunc.nsh"
!include "latency.nsh"
!include "versions.nsh"
!include "replacing.nsh"
!include "${CONTENTS}"

Name "${NAME}"
OutFile "${OUT}"
InstallDir "$PROGRAMFILES64\${NAME}"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
AllowSkipFiles off ; all of a version or an error
SetDateSave off ; the same files give the same installer
!ifdef SIGN
    !uninstfinalize '${SIGN} "%1"' = 0
!endif
BrandingText "${NAME} ${VERSION}, release set ${SET_VERSION}"

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${NAME}"
VIAddVersionKey ProductVersion "${VERSION}, release set ${SET_VERSION}"
VIAddVersionKey FileDescription "${NAME} setup"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey LegalCopyright ""
!if "${NOTE}" == ""
    !define NOTICE ""
    !define SHOWN "${NAME}"
!else
    VIAddVersionKey Comments "${NOTE}"
    !define NOTICE "${NOTE}.$\r$\n$\r$\n"
    !define SHOWN "${NAME} (not for a machine)" ; where it stands beside other programs
!endif

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_WELCOMEPAGE_TITLE "${NAME} ${VERSION}"
!define MUI_WELCOMEPAGE_TEXT "${NOTICE}This installs the updater with release set ${SET_VERSION}, for all who use this computer.$\r$\n$\r$\nIt also sets the latency timer of every FTDI adapter that this computer has seen to 1 ms, without which an update takes minutes longer."
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!define MUI_FINISHPAGE_TITLE "The updater is installed"
!define MUI_FINISHPAGE_TEXT "$0"
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_TEXT "Start the updater"
!define MUI_FINISHPAGE_RUN_FUNCTION StartUpdater
!define MUI_PAGE_CUSTOMFUNCTION_PRE TellLatency
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; As the user who is signed in, not with the installer's rights.
Function StartUpdater
    Exec '"$WINDIR\explorer.exe" "$INSTDIR\${PROGRAM}"'
FunctionEnd

; The file of a running program can be read but not written. The program is not closed from here: a
; machine may be in the middle of its update.
!macro LeaveWhileRunning FILE
    ${Do}
        ${IfNot} ${FileExists} "$INSTDIR\${FILE}"
            ${Break}
        ${EndIf}
        ClearErrors
        FileOpen $0 "$INSTDIR\${FILE}" a
        ${IfNot} ${Errors}
            FileClose $0
            ${Break}
        ${EndIf}
        ${If} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "The updater or one of its helpers is running. Let it finish, close it, then press Retry." /SD IDCANCEL IDCANCEL`
            SetErrorLevel 2
            Quit
        ${EndIf}
    ${Loop}
!macroend
!macro LeaveWhileItRuns
    !insertmacro LeaveWhileRunning "${PROGRAM}"
    !insertmacro LeaveWhileRunning "${DOCTOR}"
    !insertmacro LeaveWhileRunning "set-latency.exe"
!macroend

Function .onInit
    SetRegView 64
    ; An older version is replaced in its folder; /D=FOLDER overrides that.
    ReadRegStr $0 HKLM "${OWN}" "InstallDir"
    ${If} $0 != ""
    ${AndIf} $INSTDIR == "$PROGRAMFILES64\${NAME}"
        StrCpy $INSTDIR $0
    ${EndIf}
    Call LeaveWhatIsNewer
    !insertmacro LeaveWhileItRuns
FunctionEnd

Function .onInstFailed
    SetErrorLevel 4
FunctionEnd

Function un.onInit
    SetRegView 64
    !insertmacro LeaveWhileItRuns
FunctionEnd

Section
    SetShellVarContext all
    ; The older version removes itself by its own list of files.
    ReadRegStr $0 HKLM "${OWN}" "InstallDir"
    ${If} $0 != ""
    ${AndIf} ${FileExists} "$0\uninstall.exe"
        DetailPrint "Removing the version that is installed"
        ClearErrors
        ExecWait '"$0\uninstall.exe" /S _?=$0' $1
        ${If} ${Errors} ; it did not start
        ${OrIf} $1 <> 0
            MessageBox MB_OK|MB_ICONSTOP "The version that is installed cannot be removed." /SD IDOK
            SetErrorLevel 2
            Quit
        ${EndIf}
        Delete "$0\uninstall.exe"
        RMDir "$0"
    ${EndIf}

    ; Known before the first file: where one cannot be written, the next installer removes what there is.
    SetOutPath "$INSTDIR"
    ClearErrors
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr HKLM "${OWN}" "InstallDir" "$INSTDIR"
    ${If} ${Errors}
        Abort "The uninstaller cannot be written."
    ${EndIf}
    !insertmacro InstallFiles

    SetOutPath "$INSTDIR" ; the folder that the programs start in
    CreateDirectory "${MENU}"
    CreateShortcut "${MENU}\${SHOWN}.lnk" "$INSTDIR\${PROGRAM}"
    CreateShortcut "${MENU}\${NAME} doctor.lnk" "$INSTDIR\${DOCTOR}"
    CreateShortcut "${MENU}\Set the adapter's latency.lnk" "$INSTDIR\set-latency.exe"

    WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "${SHOWN}"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}+${SET_VERSION}"
    WriteRegStr HKLM "${UNINSTALL}" "Publisher" "${PUBLISHER}"
    WriteRegStr HKLM "${UNINSTALL}" "URLInfoAbout" "${HOMEPAGE}"
    WriteRegStr HKLM "${UNINSTALL}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKLM "${UNINSTALL}" "Comments" "${NOTE}"
    WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
    WriteRegDWORD HKLM "${UNINSTALL}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    WriteRegDWORD HKLM "${UNINSTALL}" "EstimatedSize" $0

    Call SetLatency
    Call TellLatency
    DetailPrint "$0"
SectionEnd

Section "Uninstall"
    SetShellVarContext all
    !insertmacro RestoreLatency
    RMDir /r "${MENU}"
    ; Only what was installed: a folder that the user chose may hold other files.
    !insertmacro RemoveFiles
    Delete "$INSTDIR\uninstall.exe"
    SetOutPath "$TEMP" ; a folder in use would stay
    RMDir "$INSTDIR"
    DeleteRegKey HKLM "${UNINSTALL}"
    DeleteRegKey HKLM "${OWN}"
SectionEnd
