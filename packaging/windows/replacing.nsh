; Whether this release may replace the one that is installed: not where that is newer, and not where this is
; the stand-in and that is none. Then the user is asked, /S refuses, and /REPLACE replaces it all the same.
;
; Wants VERSION, SET_VERSION, NOTE, UNINSTALL and versions.nsh.

!define REFUSED 3 ; the installer's exit code

; Releases are compared by the names of their Debian packages: see cmake/ReleaseName.cmake.
!define STANDIN_MARK "~standin"
!if "${NOTE}" == ""
    !define MARK ""
!else
    !define MARK "${STANDIN_MARK}"
!endif

Var installed      ; what is installed, as in 1.0.0~standin+D.02n; empty where nothing is
Var installed_mark

; Every release has written both values: the program's version, "+" and the set's, and the note that the
; stand-in alone has.
Function ReadInstalled
    ReadRegStr $installed HKLM "${UNINSTALL}" "DisplayVersion"
    ReadRegStr $0 HKLM "${UNINSTALL}" "Comments"
    StrCpy $installed_mark ""
    ${If} $installed == ""
    ${OrIf} $0 == ""
        Return
    ${EndIf}
    StrCpy $installed_mark "${STANDIN_MARK}"
    StrCpy $1 0
    ${Do}
        StrCpy $0 $installed 1 $1
        ${If} $0 == "+"
        ${OrIf} $0 == ""
            ${Break}
        ${EndIf}
        IntOp $1 $1 + 1
    ${Loop}
    StrCpy $0 $installed $1
    StrCpy $installed $installed "" $1
    StrCpy $installed "$0${STANDIN_MARK}$installed"
FunctionEnd

; Why the installed release is not to be replaced, in $0; empty where it may be.
Function ReasonNotToReplace
    StrCpy $0 ""
    Call ReadInstalled
    ${IfThen} $installed == "" ${|} Return ${|}
    ${If} "${MARK}" != ""
    ${AndIf} $installed_mark == ""
        StrCpy $0 "A release for machines is installed ($installed). This is the stand-in ${SET_VERSION}, which is NOT FOR A MACHINE."
        Return
    ${EndIf}
    StrCpy $left "${VERSION}${MARK}+${SET_VERSION}"
    StrCpy $right $installed
    Call CompareVersions
    StrCpy $0 ""
    ${If} $order < 0
        StrCpy $0 "A newer release is installed: $installed. This one is ${VERSION}${MARK}+${SET_VERSION}."
    ${EndIf}
FunctionEnd

; Ends the installer, nothing having been changed, where the release is not to be replaced.
Function LeaveWhatIsNewer
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/REPLACE" $1
    ${IfNot} ${Errors}
        Return
    ${EndIf}
    Call ReasonNotToReplace
    ${IfThen} $0 == "" ${|} Return ${|}
    ${If} ${Cmd} `MessageBox MB_YESNO|MB_DEFBUTTON2|MB_ICONEXCLAMATION "$0$\r$\n$\r$\nReplace it all the same?" /SD IDNO IDYES`
        Return
    ${EndIf}
    SetErrorLevel ${REFUSED}
    Quit
FunctionEnd
