; "Set the adapter's latency" in the start menu: for adapters that were plugged in after the updater was
; installed. Windows asks for the administrator's rights.
;
;   makensis -DICON=FILE.ico -DVERSION=N.N.N -DOUT=FILE.exe set-latency.nsi
Unicode true
Target amd64-unicode ; the default is 32 bit
!include "LogicLib.nsh"
!include "FileFunc.nsh"
!include "latency.nsh"

Name "Set the adapter's latency"
Caption "Set the adapter's latency"
OutFile "${OUT}"
Icon "${ICON}"
RequestExecutionLevel admin
SilentInstall silent ; no pages: one message
SetCompressor lzma

; Shown when Windows asks for the administrator's rights.
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "Annealing DB Updater"
VIAddVersionKey FileDescription "Set the adapter's latency"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey LegalCopyright ""

Section
    SetRegView 64
    Call SetLatency
    Call TellLatency
    ${If} $refused > 0
        SetErrorLevel 1
    ${EndIf}
    ; /S says nothing: for scripts.
    ${GetParameters} $1
    ClearErrors
    ${GetOptions} $1 "/S" $2
    ${If} ${Errors}
        MessageBox MB_OK|MB_ICONINFORMATION "$0"
    ${EndIf}
SectionEnd
