; Quillory-Setup.exe. scripts/release defines VERSION, PAGE (the product page), FILES (a folder with the archive of the
; release, its update.exe and its licence), ART (the rendered pictures), KILOBYTES and MEGABYTES (what it takes) and
; OUTPUT.
;
;   Quillory-Setup.exe [/S] [/AllUsers | /CurrentUser] [/Start | /NoStart] [/Close] [/Older] [/D=FOLDER]
;   Uninstall.exe      [/S] [/Close] [/Data]
;
;   /S            silent: nothing is asked and nothing shown
;   /AllUsers     for all who use the computer, with an administrator's rights; /CurrentUser is for one person alone
;   /Start        Quillory starts with Windows; as long as nobody says otherwise, at the first time it will
;   /Close        ends a Quillory that runs
;   /Older        goes back from a newer version
;   /D=FOLDER     where to; the last of the line, without quotes
;   /Data         removes settings and wallpaper too
;
; Both end with one of the codes below. What ends with another than 0 has changed nothing.

!define DONE 0
!define CANCELLED 1       ; by the person
!define FAILED 2          ; the files could not be written
!define REFUSED 3         ; a switch or a folder that cannot be used
!define HELD 4            ; Quillory runs, or another program holds its files
!define NEEDS_RIGHTS 5    ; an administrator's
!define BUSY 6            ; another setup is at work
!define OLDER 7           ; a newer version is installed

Unicode true
SetCompressor /SOLID lzma
SetDateSave off ; the times of this build would make every setup a different one
RequestExecutionLevel user
ManifestDPIAware true
ManifestLongPathAware true
ManifestSupportedOS all
AllowSkipFiles off

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Quillory"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"

!include MUI2.nsh
!include nsDialogs.nsh
!include LogicLib.nsh
!include Sections.nsh
!include FileFunc.nsh
!include WordFunc.nsh

Name "Quillory"
OutFile "${OUTPUT}"
BrandingText "Quillory ${VERSION}"
InstallDir "\Quillory" ; no place yet, and what is put behind a folder that is browsed to
VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "Quillory"
VIAddVersionKey "CompanyName" "Quillory"
VIAddVersionKey "FileDescription" "Quillory Setup"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "MIT License"

Var Kind          ; AllUsers or CurrentUser
Var KindIsGiven   ; by a switch
Var Startup       ; Start or NoStart, if a switch says so
Var Close         ; a switch: end Quillory
Var Older         ; a switch
Var Data          ; a switch
Var Rest          ; of the command line
Var Earlier       ; the folder of the copy that is installed for this kind
Var EarlierText   ; what the first page says of it
Var EarlierVersion
Var WasRunning
Var Lock
Var Told          ; controls
Var ForAll

!define MUI_ICON "${ART}/quillory.ico"
!define MUI_UNICON "${ART}/quillory.ico"
!define MUI_HEADERIMAGE
!define MUI_HEADERIMAGE_BITMAP "${ART}/installer-head.bmp"
!define MUI_HEADERIMAGE_UNBITMAP "${ART}/installer-head.bmp"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${ART}/installer-side.bmp"
!define MUI_UNWELCOMEFINISHPAGE_BITMAP "${ART}/installer-side.bmp"
!define MUI_ABORTWARNING
!define MUI_CUSTOMFUNCTION_ABORT cancelled
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_WELCOMEPAGE_TITLE "Quillory ${VERSION}"
!define MUI_WELCOMEPAGE_TEXT "Quillory keeps your desktop wallpaper changing: it logs in to the Velvet Harbor site, \
asks for one wallpaper at the pace that you choose, and fetches it at the exact size of your \
screen.$\r$\n$\r$\n$EarlierText"
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION startQuillory
!define MUI_FINISHPAGE_LINK "${PAGE}"
!define MUI_FINISHPAGE_LINK_LOCATION "${PAGE}"

!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_LICENSE "${FILES}/LICENSE.txt"
Page custom askKind takeKind
!define MUI_PAGE_CUSTOMFUNCTION_LEAVE checkFolder
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!define RUNNING_TEXT "Quillory is running.$\r$\n$\r$\nShall it be closed now?"
!define DATA_TEXT "Remove your settings, your saved login and the folder of your wallpaper as well?"

; Says why nothing was done, unless it is silent, and ends.
!macro END_WITH CODE TEXT
    ${IfNot} ${Silent}
        MessageBox MB_OK|MB_ICONEXCLAMATION "${TEXT}"
    ${EndIf}
    SetErrorLevel ${CODE}
    Quit
!macroend
!define endWith "!insertmacro END_WITH"

; The functions that setup and uninstaller share, under the prefix of each.
!macro SHARED UN
; Takes the switch $0 out of the rest of the command line; $0 is then "yes" or empty.
Function ${UN}takeSwitch
    ClearErrors
    StrCpy $1 " $Rest "
    ${WordReplace} $1 " $0 " " " "+" $2
    ${If} $1 == $2
        StrCpy $0 ""
    ${Else}
        StrCpy $0 "yes"
        ${WordReplace} $2 "  " " " "+" $Rest
    ${EndIf}
FunctionEnd

; Another setup or uninstaller at the same time would undo what this one does.
Function ${UN}lockOut
    System::Call 'kernel32::CreateMutexW(p 0, i 0, w "Global\Quillory.Setup") p .r1 ?e'
    Pop $0
    StrCpy $Lock $1
    ${If} $0 == 183 ; ERROR_ALREADY_EXISTS
    ${OrIf} $0 == 5 ; of another account
        ${endWith} ${BUSY} "Another setup of Quillory is at work."
    ${EndIf}
FunctionEnd

; $0 is "yes" if a program runs from the Quillory.exe of the folder $R0, in any session: such a file cannot be written.
; It is also said of one that somebody else holds.
Function ${UN}isHeld
    StrCpy $0 ""
    ${If} ${FileExists} "$R0\Quillory.exe"
        ClearErrors
        FileOpen $1 "$R0\Quillory.exe" a
        ${If} ${Errors}
            StrCpy $0 "yes"
        ${Else}
            FileClose $1
        ${EndIf}
    ${EndIf}
FunctionEnd

; Asks until the Quillory of the folder $R0 has ended, or ends with the code for it.
Function ${UN}closeQuillory
    ${Do}
        Call ${UN}isHeld
        ${If} $0 == ""
            Return
        ${EndIf}
        ${If} $Close != "yes"
            ${If} ${Silent}
            ${OrIf} ${Cmd} `MessageBox MB_OKCANCEL|MB_ICONQUESTION "${RUNNING_TEXT}" IDCANCEL`
                SetErrorLevel ${HELD}
                Quit
            ${EndIf}
        ${EndIf}
        ExecWait '"$PLUGINSDIR\update.exe" /close "$R0"' $0
        ${If} $0 = 0
            StrCpy $WasRunning "yes"
        ${ElseIf} $Close == "yes"
            ${endWith} ${HELD} "Another program holds the files of Quillory."
        ${EndIf}
    ${Loop}
FunctionEnd
!macroend
!insertmacro SHARED ""
!insertmacro SHARED "un."

; $Kind has been chosen: looks for the copy that it is about, and says where a new one goes.
Function findEarlier
    StrCpy $Earlier ""
    StrCpy $EarlierVersion ""
    StrCpy $EarlierText "Setup needs a moment and ${MEGABYTES} MB."
    ${If} $Kind == "AllUsers"
        SetShellVarContext all
    ${Else}
        SetShellVarContext current
    ${EndIf}
    ReadRegStr $0 SHCTX "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $0 != ""
    ${AndIf} ${FileExists} "$0\Quillory.exe"
        StrCpy $Earlier $0
        ReadRegStr $EarlierVersion SHCTX "${UNINSTALL_KEY}" "DisplayVersion"
        StrCpy $EarlierText "Version $EarlierVersion is installed in $Earlier."
        ${VersionCompare} $EarlierVersion ${VERSION} $1
        ${If} $1 = 0
            StrCpy $EarlierText "$EarlierText Setup puts it there anew, or moves it where you choose another folder."
        ${ElseIf} $1 = 2
            StrCpy $EarlierText "$EarlierText Setup brings it to version ${VERSION}, and moves it where you choose \
another folder."
        ${EndIf}
    ${EndIf}

    ; A copy of the other kind is another one: an administrator's setup could not see all of them.
    ${If} $Kind == "AllUsers"
        ReadRegStr $0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
        StrCpy $1 "for you alone"
    ${Else}
        ReadRegStr $0 HKLM "${UNINSTALL_KEY}" "InstallLocation"
        StrCpy $1 "for all who use this computer"
    ${EndIf}
    ${If} $0 != ""
    ${AndIf} ${FileExists} "$0\Quillory.exe"
        StrCpy $EarlierText "$EarlierText$\r$\n$\r$\nAnother copy, $1, stays in $0."
    ${EndIf}
FunctionEnd

; The folder that is proposed, unless the person has chosen one.
Function proposeFolder
    ${If} $INSTDIR == "\Quillory"
        ${If} $Earlier != ""
            StrCpy $INSTDIR $Earlier
        ${ElseIf} $Kind == "AllUsers"
            StrCpy $INSTDIR "$PROGRAMFILES\Quillory"
        ${Else}
            StrCpy $INSTDIR "$LOCALAPPDATA\Programs\Quillory"
        ${EndIf}
    ${EndIf}
FunctionEnd

Function .onInit
    ${GetParameters} $Rest
    StrCpy $0 "/S"
    Call takeSwitch
    StrCpy $0 "/AllUsers"
    Call takeSwitch
    ${If} $0 == "yes"
        StrCpy $Kind "AllUsers"
    ${EndIf}
    StrCpy $0 "/CurrentUser"
    Call takeSwitch
    ${If} $0 == "yes"
        ${If} $Kind != ""
            ${endWith} ${REFUSED} "/AllUsers and /CurrentUser exclude each other."
        ${EndIf}
        StrCpy $Kind "CurrentUser"
    ${EndIf}
    StrCpy $0 "/Start"
    Call takeSwitch
    ${If} $0 == "yes"
        StrCpy $Startup "Start"
    ${EndIf}
    StrCpy $0 "/NoStart"
    Call takeSwitch
    ${If} $0 == "yes"
        StrCpy $Startup "NoStart"
    ${EndIf}
    StrCpy $0 "/Close"
    Call takeSwitch
    StrCpy $Close $0
    StrCpy $0 "/Older"
    Call takeSwitch
    StrCpy $Older $0
    StrCpy $0 "$Rest" 1
    ${DoWhile} $0 == " "
        StrCpy $Rest $Rest "" 1
        StrCpy $0 $Rest 1
    ${Loop}
    ${If} $Rest != ""
        ${endWith} ${REFUSED} "Setup does not know what is meant by: $Rest"
    ${EndIf}
    Call lockOut
    Call sayWhatItTakes

    ${If} $Kind != ""
        StrCpy $KindIsGiven "yes"
        Call findEarlier
    ${Else} ; the kind of the copy that is there; without one, for one person alone
        StrCpy $Kind "CurrentUser"
        Call findEarlier
        ${If} $Earlier == ""
            StrCpy $Kind "AllUsers"
            Call findEarlier
            ${If} $Earlier == ""
                StrCpy $Kind "CurrentUser"
                Call findEarlier
            ${EndIf}
        ${EndIf}
    ${EndIf}
    Call chooseStartup
    ${If} ${Silent}
        Call requireRights
        Call proposeFolder
        Call checkFolder
    ${ElseIf} $KindIsGiven == "yes"
        Call requireRights
        Call proposeFolder
    ${EndIf}
FunctionEnd

; For all takes an administrator: starts setup again, as it was started, with the question for one, and ends this one.
Function requireRights
    ${If} $Kind == "AllUsers"
        UserInfo::GetAccountType
        Pop $0
        ${If} $0 != "Admin"
            ${If} ${Silent}
                SetErrorLevel ${NEEDS_RIGHTS}
                Quit
            ${EndIf}
            System::Call 'kernel32::CloseHandle(p $Lock)'
            ${GetParameters} $Rest
            StrCpy $0 "/AllUsers"
            Call takeSwitch
            StrCpy $0 "/AllUsers $Rest"
            ${If} $INSTDIR != "\Quillory" ; from /D=
                StrCpy $0 "$0 /D=$INSTDIR"
            ${EndIf}
            ExecShell "runas" "$EXEPATH" "$0"
            Quit
        ${EndIf}
    ${EndIf}
FunctionEnd

Function cancelled
    SetErrorLevel ${CANCELLED}
FunctionEnd

Function askKind
    ${If} $KindIsGiven == "yes"
        Abort
    ${EndIf}
    !insertmacro MUI_HEADER_TEXT "For whom" "Choose who is to have Quillory."
    nsDialogs::Create 1018
    Pop $0
    ${NSD_CreateLabel} 0 0 100% 58u "$EarlierText"
    Pop $Told
    ${NSD_CreateRadioButton} 10u 66u 90% 12u "Just for &me"
    Pop $1
    ${NSD_CreateRadioButton} 10u 84u 90% 12u "For &all who use this computer"
    Pop $ForAll
    ${NSD_OnClick} $1 tellOfKind
    ${NSD_OnClick} $ForAll tellOfKind
    ${If} $Kind == "AllUsers"
        ${NSD_Check} $ForAll
    ${Else}
        ${NSD_Check} $1
    ${EndIf}
    Push $1
    Call tellOfKind
    nsDialogs::Show
FunctionEnd

; What is there already of the kind that is chosen, and on the button that will ask for an administrator's consent the
; system's shield.
Function tellOfKind
    Pop $0
    Call setKind
    ${NSD_SetText} $Told $EarlierText
    ${NSD_GetState} $ForAll $0
    UserInfo::GetAccountType
    Pop $1
    ${If} $1 == "Admin"
        StrCpy $0 0
    ${EndIf}
    GetDlgItem $1 $HWNDPARENT 1
    SendMessage $1 0x160C 0 $0 ; BCM_SETSHIELD
FunctionEnd

Function setKind
    ${NSD_GetState} $ForAll $0
    StrCpy $1 "CurrentUser"
    ${If} $0 = ${BST_CHECKED}
        StrCpy $1 "AllUsers"
    ${EndIf}
    ${If} $Kind != $1
        StrCpy $Kind $1
        StrCpy $INSTDIR "\Quillory"
        Call findEarlier
        Call chooseStartup
    ${EndIf}
FunctionEnd

Function takeKind
    Call setKind
    Call requireRights
    Call proposeFolder
FunctionEnd

; Refuses a folder that Quillory could not be updated in, and asks before it goes among other files or back in time.
Function checkFolder
    StrCpy $0 $INSTDIR 1 1
    StrCpy $1 $INSTDIR "" 3
    ${If} $0 != ":"
    ${OrIf} $1 == ""
        StrCpy $2 "Quillory needs a folder of its own, on a drive with a letter."
        Goto refuse
    ${EndIf}

    ${If} ${FileExists} "$INSTDIR\*.*"
    ${AndIfNot} ${FileExists} "$INSTDIR\Updater\release.txt"
        ${DirState} $INSTDIR $0
        ${If} $0 = 1
            ${If} ${Silent}
                SetErrorLevel ${REFUSED}
                Quit
            ${EndIf}
            ${If} ${Cmd} `MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "There are other files in $INSTDIR. \
Quillory's would go among them, in place of those of the same name. Is that what you want?" IDNO`
                Abort
            ${EndIf}
        ${EndIf}
    ${EndIf}

    ${If} $EarlierVersion != ""
    ${AndIf} $Older != "yes"
        ${VersionCompare} $EarlierVersion ${VERSION} $0
        ${If} $0 = 1
            ${If} ${Silent}
                SetErrorLevel ${OLDER}
                Quit
            ${EndIf}
            ${If} ${Cmd} `MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "Version $EarlierVersion is installed, \
which is newer than ${VERSION}. Go back to the older one?" IDNO`
                Abort
            ${EndIf}
        ${EndIf}
    ${EndIf}
    Return

refuse:
    ${If} ${Silent}
        SetErrorLevel ${REFUSED}
        Quit
    ${EndIf}
    MessageBox MB_OK|MB_ICONEXCLAMATION $2
    Abort
FunctionEnd

Section "Quillory" QUILLORY
    SectionIn RO
    InitPluginsDir
    SetOutPath "$PLUGINSDIR"
    File "${FILES}/update.exe"
    File "${FILES}/release.zip"
    WriteUninstaller "$PLUGINSDIR\Uninstall.exe"
    ${If} $Earlier != ""
        StrCpy $R0 $Earlier
        Call closeQuillory
    ${EndIf}
    StrCpy $R0 $INSTDIR
    Call closeQuillory

    ; All or nothing: update.exe checks the release, puts everything beside, and swaps it at the end.
    ExecWait '"$PLUGINSDIR\update.exe" /install "$INSTDIR"' $0
    ${If} $0 = ${HELD}
        ${endWith} ${HELD} "Another program holds the files of Quillory. Nothing has been changed."
    ${ElseIf} $0 <> 0
        RMDir "$INSTDIR\Updater" ; where nothing could be written, nothing of this stays
        RMDir "$INSTDIR"
        ${endWith} ${FAILED} "The files could not be written to $INSTDIR. Nothing has been changed."
    ${EndIf}
    ${If} $Earlier != ""
    ${AndIf} $Earlier != $INSTDIR ; it has moved
        ExecWait '"$PLUGINSDIR\update.exe" /remove "$Earlier"' $0
    ${EndIf}

    CreateShortcut "$SMPROGRAMS\Quillory.lnk" "$INSTDIR\Quillory.exe"
    DeleteRegValue SHCTX "${RUN_KEY}" "Quillory" ; the other section's choice is made anew
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "Quillory"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}" ; the updater keeps it true, as the size
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\Quillory.exe"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "Quillory"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "URLInfoAbout" "${PAGE}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" ${KILOBYTES}
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section "Start with Windows" STARTUP
    WriteRegStr SHCTX "${RUN_KEY}" "Quillory" '"$INSTDIR\Quillory.exe"'
SectionEnd

Section -restart
    SetOutPath "$INSTDIR" ; the folder of this setup's files goes now
    ${If} $WasRunning == "yes"
    ${AndIf} ${Silent}
        Call startQuillory
    ${EndIf}
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${QUILLORY} "The program, and its entry in the start menu."
    !insertmacro MUI_DESCRIPTION_TEXT ${STARTUP} "Start Quillory whenever you log in to Windows."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; The files of this setup lie beside the installed ones for a moment, and do not count.
Function sayWhatItTakes
    SectionSetSize ${QUILLORY} ${KILOBYTES}
FunctionEnd

; An autostart that the person has removed stays removed.
Function chooseStartup
    SectionSetFlags ${STARTUP} ${SF_SELECTED}
    ReadRegStr $0 SHCTX "${RUN_KEY}" "Quillory"
    ${If} $Startup == "NoStart"
        SectionSetFlags ${STARTUP} 0
    ${ElseIf} $Startup == ""
    ${AndIf} $Earlier != ""
    ${AndIf} $0 == ""
        SectionSetFlags ${STARTUP} 0
    ${EndIf}
FunctionEnd

; The shell starts it with the person's rights, where the setup may have an administrator's.
Function startQuillory
    Exec '"$WINDIR\explorer.exe" "$INSTDIR\Quillory.exe"'
FunctionEnd

; The uninstaller removes the folder that it lies in, and the entry that is about that folder; no other copy.
Function un.onInit
    ${GetParameters} $Rest
    StrCpy $0 "/S"
    Call un.takeSwitch
    StrCpy $0 "/Close"
    Call un.takeSwitch
    StrCpy $Close $0
    StrCpy $0 "/Data"
    Call un.takeSwitch
    StrCpy $Data $0
    StrCpy $0 $Rest 1
    ${DoWhile} $0 == " "
        StrCpy $Rest $Rest "" 1
        StrCpy $0 $Rest 1
    ${Loop}
    ${If} $Rest != ""
        ${endWith} ${REFUSED} "The uninstaller does not know what is meant by: $Rest"
    ${EndIf}
    Call un.lockOut
    StrCpy $Kind ""
    ReadRegStr $0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
    ReadRegStr $1 HKLM "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $0 == $INSTDIR
        StrCpy $Kind "CurrentUser"
        SetShellVarContext current
    ${ElseIf} $1 == $INSTDIR
        StrCpy $Kind "AllUsers"
        SetShellVarContext all
        UserInfo::GetAccountType
        Pop $0
        ${If} $0 != "Admin"
            ${If} ${Silent}
                SetErrorLevel ${NEEDS_RIGHTS}
                Quit
            ${EndIf}
            System::Call 'kernel32::CloseHandle(p $Lock)'
            ${GetParameters} $0
            ExecShell "runas" "$INSTDIR\Uninstall.exe" "$0"
            Quit
        ${EndIf}
    ${EndIf}
FunctionEnd

Section "Uninstall"
    InitPluginsDir
    SetOutPath "$PLUGINSDIR"
    File "${FILES}/update.exe"
    StrCpy $R0 $INSTDIR
    Call un.closeQuillory
    ExecWait '"$PLUGINSDIR\update.exe" /remove "$INSTDIR"' $0
    ${If} $0 = ${HELD}
        ${endWith} ${HELD} "Another program holds the files of Quillory. Nothing has been removed."
    ${ElseIf} $0 <> 0
        ${endWith} ${FAILED} "The files could not be removed from $INSTDIR."
    ${EndIf}
    ${If} $Kind != ""
        DeleteRegValue SHCTX "${RUN_KEY}" "Quillory"
        Delete "$SMPROGRAMS\Quillory.lnk"
        DeleteRegKey SHCTX "${UNINSTALL_KEY}"
    ${EndIf}

    ${If} $Data != "yes"
    ${AndIfNot} ${Silent}
        ${If} ${Cmd} `MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "${DATA_TEXT}" IDYES`
            StrCpy $Data "yes"
        ${EndIf}
    ${EndIf}
    ${If} $Data == "yes"
        SetShellVarContext current
        ; A desktop without its picture would be black at the next login, and say nothing of why.
        ReadRegStr $0 HKCU "Control Panel\Desktop" "Wallpaper"
        ${If} $0 == "$APPDATA\Quillory\Quillory.bmp"
            System::Call 'user32::SystemParametersInfoW(i 20, i 0, w "", i 3)'
        ${EndIf}
        RMDir /r "$APPDATA\Quillory"
        DeleteRegKey HKCU "Software\Quillory"
    ${EndIf}
SectionEnd
