; Quillory-Setup.exe. scripts/release defines VERSION, PAGE (the product page), FILES (a folder with the files of the
; release), ART (the rendered pictures) and OUTPUT.
;
; Silent: Quillory-Setup.exe /S [/AllUsers | /CurrentUser], and the same for Uninstall.exe, which then keeps the data.

Unicode true
SetCompressor /SOLID lzma
SetDateSave off ; the times of this build would make every setup a different one
ManifestDPIAware true

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Quillory"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "Quillory"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!include MultiUser.nsh
!include MUI2.nsh
!include LogicLib.nsh
!include FileFunc.nsh

Name "Quillory"
OutFile "${OUTPUT}"
BrandingText "Quillory ${VERSION}"
VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "Quillory"
VIAddVersionKey "CompanyName" "Quillory"
VIAddVersionKey "FileDescription" "Quillory Setup"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "MIT License"

!define MUI_ICON "${ART}/quillory.ico"
!define MUI_UNICON "${ART}/quillory.ico"
!define MUI_HEADERIMAGE
!define MUI_HEADERIMAGE_BITMAP "${ART}/installer-head.bmp"
!define MUI_HEADERIMAGE_UNBITMAP "${ART}/installer-head.bmp"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${ART}/installer-side.bmp"
!define MUI_UNWELCOMEFINISHPAGE_BITMAP "${ART}/installer-side.bmp"
!define MUI_ABORTWARNING
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION startQuillory
!define MUI_FINISHPAGE_LINK "${PAGE}"
!define MUI_FINISHPAGE_LINK_LOCATION "${PAGE}"

!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_LICENSE "${FILES}/LICENSE.txt"
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!define RUNNING_TEXT "Quillory is running.$\r$\n$\r$\nPlease choose $\"Exit Quillory$\" in the menu of its icon \
beside the clock, and then Retry."
!define DATA_TEXT "Remove your settings, your saved login and the folder of your wallpaper as well?"

; Quillory holds this mutex while it runs. One that may not be opened is there too.
!macro REFUSE_WHILE_QUILLORY_RUNS
    ${Do}
        System::Call 'kernel32::OpenMutexW(i 0x100000, i 0, w "Local\Quillory.Running") p .r0 ?e'
        Pop $1
        ${If} $0 P<> 0
            System::Call 'kernel32::CloseHandle(p r0)'
        ${ElseIf} $1 <> 5
            ${ExitDo}
        ${EndIf}
        ${If} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "${RUNNING_TEXT}" /SD IDCANCEL IDCANCEL`
            Abort "Quillory is running."
        ${EndIf}
    ${Loop}
!macroend

Section "Quillory" QUILLORY
    SectionIn RO
    !insertmacro REFUSE_WHILE_QUILLORY_RUNS
    SetOutPath "$INSTDIR\Updater"
    File "${FILES}/Updater/update.exe"
    SetOutPath "$INSTDIR"
    File "${FILES}/Quillory.exe"
    File "${FILES}/LICENSE.txt"
    File "${FILES}/README.txt"
    WriteUninstaller "$INSTDIR\Uninstall.exe"
    CreateShortcut "$SMPROGRAMS\Quillory.lnk" "$INSTDIR\Quillory.exe"
    DeleteRegValue SHCTX "${RUN_KEY}" "Quillory" ; the other section's choice is made anew

    ; No version: Quillory moves itself to a new one, and what stood here would soon be wrong.
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "Quillory"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\Quillory.exe"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "Quillory"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "URLInfoAbout" "${PAGE}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe" /$MultiUser.InstallMode'
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /$MultiUser.InstallMode /S'
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" $0
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section "Start with Windows" STARTUP
    WriteRegStr SHCTX "${RUN_KEY}" "Quillory" '"$INSTDIR\Quillory.exe"'
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${QUILLORY} "The program, and its entry in the start menu."
    !insertmacro MUI_DESCRIPTION_TEXT ${STARTUP} "Start Quillory whenever you log in to Windows."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Section "Uninstall"
    !insertmacro REFUSE_WHILE_QUILLORY_RUNS
    DeleteRegValue SHCTX "${RUN_KEY}" "Quillory"
    DeleteRegKey SHCTX "${UNINSTALL_KEY}"
    Delete "$SMPROGRAMS\Quillory.lnk"
    Delete "$INSTDIR\Quillory.exe"
    Delete "$INSTDIR\LICENSE.txt"
    Delete "$INSTDIR\README.txt"
    Delete "$INSTDIR\Updater\update.exe"
    Delete "$INSTDIR\Updater\updating.exe" ; the updater works from this copy of itself
    RMDir /r "$INSTDIR\Updater\new"        ; and puts the new files here first
    RMDir "$INSTDIR\Updater"
    Delete "$INSTDIR\Uninstall.exe"
    RMDir "$INSTDIR" ; never with all that is in it: the folder was the person's choice

    ${If} ${Cmd} `MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "${DATA_TEXT}" /SD IDNO IDYES`
        SetShellVarContext current
        RMDir /r "$APPDATA\Quillory"
        DeleteRegKey HKCU "Software\Quillory"
    ${EndIf}
SectionEnd

Function .onInit
    !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
    !insertmacro MULTIUSER_UNINIT
FunctionEnd

; The shell starts it with the person's rights, where the setup may have an administrator's.
Function startQuillory
    Exec '"$WINDIR\explorer.exe" "$INSTDIR\Quillory.exe"'
FunctionEnd
