; The order of two versions: that of dpkg --compare-versions, so that a release is older or newer on Windows
; as it is on Debian. Letters, digits, "." and "+" are what a release's name is made of, "~" stands before its
; mark "standin"; capital letters count as small ones.
;
; A version is read as runs of other characters and of digits in turn. Of the former "~" comes before the end,
; the end before letters, letters before the rest; digits are numbers.

!define LETTERS "abcdefghijklmnopqrstuvwxyz+."
!define DIGITS "0123456789"

Var left
Var right
Var order ; below 0 where left is older, above 0 where it is newer

; The place of the character $0 in $1, from 0, to $0; -1 where it is not there.
Function PlaceOf
    Push $2
    Push $3
    StrCpy $2 0
    ${Do}
        StrCpy $3 $1 1 $2
        ${If} $3 == ""
        ${OrIf} $0 == ""
            StrCpy $2 -1
            ${Break}
        ${ElseIf} $3 == $0
            ${Break}
        ${EndIf}
        IntOp $2 $2 + 1
    ${Loop}
    StrCpy $0 $2
    Pop $3
    Pop $2
FunctionEnd

; The first character of $0, as a number by which those that are no digits are ordered; -1 stands for a digit
; and for the end.
Function RankOf
    StrCpy $0 $0 1
    ${If} $0 == "~"
        StrCpy $0 -2
    ${Else}
        StrCpy $1 "${LETTERS}"
        Call PlaceOf
    ${EndIf}
FunctionEnd

; The first character of $0 as a digit; -1 where it is none.
Function DigitOf
    StrCpy $0 $0 1
    StrCpy $1 "${DIGITS}"
    Call PlaceOf
FunctionEnd

; What FUNCTION says of both versions, and the difference.
!macro Compare FUNCTION
    StrCpy $0 $left
    Call ${FUNCTION}
    StrCpy $2 $0
    StrCpy $0 $right
    Call ${FUNCTION}
    StrCpy $3 $0
    IntOp $4 $2 - $3
!macroend

!macro SkipFirst
    StrCpy $left $left "" 1
    StrCpy $right $right "" 1
!macroend

!macro SkipZeros VERSION
    ${Do}
        StrCpy $0 ${VERSION} 1
        ${IfThen} $0 != "0" ${|} ${Break} ${|}
        StrCpy ${VERSION} ${VERSION} "" 1
    ${Loop}
!macroend

; Takes what is no digit from the beginning of both versions.
Function CompareLetters
    ${Do}
        !insertmacro Compare RankOf
        ${If} $4 <> 0
            StrCpy $order $4
            ${Break}
        ${ElseIf} $2 = -1
            ${Break}
        ${EndIf}
        !insertmacro SkipFirst
    ${Loop}
FunctionEnd

; Takes a number from the beginning of both versions. The longer one is the larger; else the first digit that
; differs counts.
Function CompareNumbers
    !insertmacro SkipZeros $left
    !insertmacro SkipZeros $right
    ${Do}
        !insertmacro Compare DigitOf
        ${If} $2 = -1
        ${OrIf} $3 = -1
            ${IfThen} $4 <> 0 ${|} StrCpy $order $4 ${|}
            ${Break}
        ${ElseIf} $order = 0
            StrCpy $order $4
        ${EndIf}
        !insertmacro SkipFirst
    ${Loop}
FunctionEnd

; Compares $left with $right, which are used up, into $order.
Function CompareVersions
    StrCpy $order 0
    ${Do}
        StrCpy $5 "$left$right"
        Call CompareLetters
        ${IfThen} $order <> 0 ${|} ${Break} ${|}
        Call CompareNumbers
        ${IfThen} $order <> 0 ${|} ${Break} ${|}
        ; Both at their end, or at a character that no release's name is made of.
        ${IfThen} "$left$right" == $5 ${|} ${Break} ${|}
    ${Loop}
FunctionEnd
