; The adapter's latency timer: how long an FTDI chip holds back an answer that fills no packet, in ms.
; A whole update waits for some 17,000 short answers: at 1 it takes 100 s, at the default 16 six
; minutes. A value takes effect when the adapter is plugged in the next time.
;
; The former values are kept under this key, so that removing the program restores them.

!define ADAPTERS "SYSTEM\CurrentControlSet\Enum\FTDIBUS"
!define FORMER "Software\annealing-db-updater\FormerLatency"
!define LATENCY 1
!define NONE 0 ; stands for a value that was not there: the chip's range is 1 to 255

Var adapters ; how many adapters this computer has seen
Var refused  ; how many of them could not be set
Var name     ; an adapter below ADAPTERS
Var instance ; where it was plugged in, below its name
Var former
Var index
Var inner

; Sets the latency of every FTDI adapter that this computer has seen. Leaves `adapters` and `refused`.
Function SetLatency
    StrCpy $adapters 0
    StrCpy $refused 0
    StrCpy $index 0
    ${Do}
        EnumRegKey $name HKLM "${ADAPTERS}" $index
        ${If} $name == ""
            ${Break}
        ${EndIf}
        IntOp $index $index + 1
        StrCpy $inner 0
        ${Do}
            EnumRegKey $instance HKLM "${ADAPTERS}\$name" $inner
            ${If} $instance == ""
                ${Break}
            ${EndIf}
            IntOp $inner $inner + 1
            Call SetOneLatency
        ${Loop}
    ${Loop}
FunctionEnd

Function SetOneLatency
    ; Not a port, or its driver was never installed.
    ReadRegStr $former HKLM "${ADAPTERS}\$name\$instance\Device Parameters" "PortName"
    ${If} $former == ""
        Return
    ${EndIf}
    IntOp $adapters $adapters + 1
    ClearErrors
    ReadRegDWORD $former HKLM "${ADAPTERS}\$name\$instance\Device Parameters" "LatencyTimer"
    ${If} ${Errors}
        StrCpy $former ${NONE}
    ${EndIf}
    ${If} $former == ${LATENCY}
        Return
    ${EndIf}
    ClearErrors
    WriteRegDWORD HKLM "${ADAPTERS}\$name\$instance\Device Parameters" "LatencyTimer" ${LATENCY}
    ${If} ${Errors}
        IntOp $refused $refused + 1
    ${Else}
        WriteRegDWORD HKLM "${FORMER}" "$name\$instance" $former
    ${EndIf}
FunctionEnd

; Returns in $0 what was done.
Function TellLatency
    ${If} $adapters = 0
        StrCpy $0 "This computer has seen no FTDI adapter yet. Plug in the machine's cable, then start$\r$\n'Set the adapter's latency' from the start menu."
    ${ElseIf} $refused > 0
        StrCpy $0 "The latency timer of $refused of $adapters FTDI adapters could not be set.$\r$\nStart 'Set the adapter's latency' from the start menu as an administrator."
    ${Else}
        StrCpy $0 "The latency timer of every FTDI adapter that this computer has seen ($adapters) is ${LATENCY} ms.$\r$\nUnplug the adapter and plug it in again."
    ${EndIf}
FunctionEnd

; For the uninstaller: restores the former values, unless somebody has changed them since.
!macro RestoreLatency
    ${Do}
        EnumRegValue $name HKLM "${FORMER}" 0
        ${If} $name == ""
            ${Break}
        ${EndIf}
        ReadRegDWORD $former HKLM "${FORMER}" $name
        DeleteRegValue HKLM "${FORMER}" $name
        ReadRegDWORD $inner HKLM "${ADAPTERS}\$name\Device Parameters" "LatencyTimer"
        ${If} $inner == ${LATENCY}
            ${If} $former == ${NONE}
                DeleteRegValue HKLM "${ADAPTERS}\$name\Device Parameters" "LatencyTimer"
            ${Else}
                WriteRegDWORD HKLM "${ADAPTERS}\$name\Device Parameters" "LatencyTimer" $former
            ${EndIf}
        ${EndIf}
    ${Loop}
!macroend
