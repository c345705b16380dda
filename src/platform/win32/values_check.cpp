// The seams' Win32 values, each written once in its header, checked here against <windows.h>.
#include <winsock2.h>
#include <windows.h>
#include <cfgmgr32.h>
#include <dbt.h>
#include <iphlpapi.h>
#include <setupapi.h>
#include <shellapi.h>
#include <shlobj.h>
#include <winsvc.h>
#include <d3d11.h>
#include <dxgi1_2.h>
#include <gdiplus.h>

#include "platform/capture.h"
#include "platform/gdi.h"
#include "platform/handles.h"
#include "platform/kernel.h"
#include "platform/network.h"
#include "platform/registry.h"
#include "platform/services.h"
#include "platform/setupapi.h"
#include "platform/shell.h"
#include "platform/user.h"

namespace platform {

// Handles are the STRICT types themselves.
static_assert(std::is_same_v<WindowHandle, HWND> && std::is_same_v<MenuHandle, HMENU> &&
              std::is_same_v<IconHandle, HICON> && std::is_same_v<CursorHandle, HCURSOR> &&
              std::is_same_v<ModuleHandle, HMODULE> && std::is_same_v<MonitorHandle, HMONITOR> &&
              std::is_same_v<DcHandle, HDC> && std::is_same_v<BrushHandle, HBRUSH> &&
              std::is_same_v<PenHandle, HPEN> && std::is_same_v<FontHandle, HFONT> &&
              std::is_same_v<BitmapHandle, HBITMAP> && std::is_same_v<RegionHandle, HRGN> &&
              std::is_same_v<RegistryKey, HKEY> && std::is_same_v<ServiceHandle, SC_HANDLE> &&
              std::is_same_v<WinEventHookHandle, HWINEVENTHOOK>);
static_assert(sizeof(KernelHandle) == sizeof(HANDLE));

// Kernel.
static_assert(kErrorSuccess == ERROR_SUCCESS && kErrorFileNotFound == ERROR_FILE_NOT_FOUND &&
              kErrorAccessDenied == ERROR_ACCESS_DENIED &&
              kErrorInvalidHandle == ERROR_INVALID_HANDLE &&
              kErrorNotEnoughMemory == ERROR_NOT_ENOUGH_MEMORY &&
              kErrorInvalidParameter == ERROR_INVALID_PARAMETER &&
              kErrorInsufficientBuffer == ERROR_INSUFFICIENT_BUFFER &&
              kErrorAlreadyExists == ERROR_ALREADY_EXISTS && kErrorMoreData == ERROR_MORE_DATA &&
              kErrorPipeBusy == ERROR_PIPE_BUSY && kErrorNoData == ERROR_NO_DATA &&
              kErrorPipeNotConnected == ERROR_PIPE_NOT_CONNECTED &&
              kErrorNoMoreItems == ERROR_NO_MORE_ITEMS &&
              kErrorPipeConnected == ERROR_PIPE_CONNECTED &&
              kErrorOperationAborted == ERROR_OPERATION_ABORTED &&
              kErrorServiceAlreadyRunning == ERROR_SERVICE_ALREADY_RUNNING &&
              kErrorServiceDoesNotExist == ERROR_SERVICE_DOES_NOT_EXIST &&
              kErrorNotAllAssigned == ERROR_NOT_ALL_ASSIGNED);
static_assert(kProcessQueryLimitedInformation == PROCESS_QUERY_LIMITED_INFORMATION);
static_assert(kTokenAdjustPrivileges == TOKEN_ADJUST_PRIVILEGES && kTokenQuery == TOKEN_QUERY &&
              kSePrivilegeEnabled == SE_PRIVILEGE_ENABLED);
static_assert(kGenericRead == GENERIC_READ && kGenericWrite == GENERIC_WRITE &&
              kFileAppendData == FILE_APPEND_DATA && kFileShareRead == FILE_SHARE_READ &&
              kFileShareWrite == FILE_SHARE_WRITE && kCreateAlways == CREATE_ALWAYS &&
              kOpenExisting == OPEN_EXISTING && kOpenAlways == OPEN_ALWAYS &&
              kFileAttributeNormal == FILE_ATTRIBUTE_NORMAL);
static_assert(kPipeAccessInbound == PIPE_ACCESS_INBOUND && kPipeTypeMessage == PIPE_TYPE_MESSAGE &&
              kPipeReadmodeMessage == PIPE_READMODE_MESSAGE &&
              kPipeUnlimitedInstances == PIPE_UNLIMITED_INSTANCES &&
              kPipeRejectRemoteClients == PIPE_REJECT_REMOTE_CLIENTS &&
              kFileFlagOverlapped == FILE_FLAG_OVERLAPPED);
static_assert(kSeGroupLogonId == SE_GROUP_LOGON_ID);
static_assert(kAttachParentProcess == ATTACH_PARENT_PROCESS);

// Windows, messages and hooks.
static_assert(kWmCreate == WM_CREATE && kWmDestroy == WM_DESTROY && kWmSize == WM_SIZE &&
              kWmActivate == WM_ACTIVATE && kWmPaint == WM_PAINT && kWmClose == WM_CLOSE &&
              kWmQuit == WM_QUIT && kWmEraseBkgnd == WM_ERASEBKGND &&
              kWmFontChange == WM_FONTCHANGE && kWmSetCursor == WM_SETCURSOR &&
              kWmGetMinMaxInfo == WM_GETMINMAXINFO && kWmNcCreate == WM_NCCREATE &&
              kWmNcDestroy == WM_NCDESTROY && kWmNcLButtonDblClk == WM_NCLBUTTONDBLCLK &&
              kWmKeyDown == WM_KEYDOWN && kWmChar == WM_CHAR && kWmSysCommand == WM_SYSCOMMAND &&
              kWmTimer == WM_TIMER && kWmLButtonDown == WM_LBUTTONDOWN &&
              kWmLButtonDblClk == WM_LBUTTONDBLCLK && kWmRButtonUp == WM_RBUTTONUP &&
              kWmDeviceChange == WM_DEVICECHANGE && kWmDpiChanged == WM_DPICHANGED &&
              kWmUser == WM_USER);
static_assert(kScMaximize == SC_MAXIMIZE && kScClose == SC_CLOSE &&
              kScMonitorPower == SC_MONITORPOWER && kHtCaption == HTCAPTION &&
              kHtClient == HTCLIENT);
static_assert(kVkBack == VK_BACK && kVkReturn == VK_RETURN && kVkMenu == VK_MENU &&
              kKeyEventFKeyUp == KEYEVENTF_KEYUP);
static_assert(kWsOverlappedWindow == WS_OVERLAPPEDWINDOW && kWsCaption == WS_CAPTION &&
              kWsVisible == WS_VISIBLE && kWsChild == WS_CHILD && kWsPopup == WS_POPUP &&
              kWsExTransparent == WS_EX_TRANSPARENT && kWsExTopmost == WS_EX_TOPMOST &&
              kWsExToolWindow == WS_EX_TOOLWINDOW && kWsExLayered == WS_EX_LAYERED &&
              kWsExNoActivate == WS_EX_NOACTIVATE && kCsVRedraw == CS_VREDRAW &&
              kCsHRedraw == CS_HREDRAW);
static_assert(kGwlStyle == GWL_STYLE && kGwlExStyle == GWL_EXSTYLE &&
              kGwlpUserData == GWLP_USERDATA && kGwOwner == GW_OWNER && kGaRoot == GA_ROOT);
static_assert(kLwaColorKey == LWA_COLORKEY && kLwaAlpha == LWA_ALPHA);
static_assert(kDwmwaExtendedFrameBounds == 9 && kDwmwaCloaked == 14);  // DWMWINDOWATTRIBUTE
static_assert(kSwHide == SW_HIDE && kSwShow == SW_SHOW && kSwShowNa == SW_SHOWNA &&
              kSwRestore == SW_RESTORE);
static_assert(kSwpNoSize == SWP_NOSIZE && kSwpNoMove == SWP_NOMOVE &&
              kSwpNoZOrder == SWP_NOZORDER && kSwpNoActivate == SWP_NOACTIVATE &&
              kSwpShowWindow == SWP_SHOWWINDOW && kSwpHideWindow == SWP_HIDEWINDOW);
static_assert(kPmNoRemove == PM_NOREMOVE && kPmRemove == PM_REMOVE &&
              kSmtoAbortIfHung == SMTO_ABORTIFHUNG);
static_assert(kEventObjectCreate == EVENT_OBJECT_CREATE &&
              kEventObjectDestroy == EVENT_OBJECT_DESTROY &&
              kEventObjectShow == EVENT_OBJECT_SHOW && kEventObjectHide == EVENT_OBJECT_HIDE &&
              kObjidWindow == OBJID_WINDOW && kChildidSelf == CHILDID_SELF &&
              kWineventOutOfContext == WINEVENT_OUTOFCONTEXT &&
              kWineventSkipOwnProcess == WINEVENT_SKIPOWNPROCESS);
static_assert(kIdcArrow == 32512 && kIdcHand == 32649);  // IDC_ARROW, IDC_HAND as numbers
static_assert(kMfString == MF_STRING && kMfSeparator == MF_SEPARATOR &&
              kTpmNoNotify == TPM_NONOTIFY && kTpmReturnCmd == TPM_RETURNCMD);
static_assert(kMonitorDefaultToNearest == MONITOR_DEFAULTTONEAREST && kSmCxScreen == SM_CXSCREEN &&
              kSmCyScreen == SM_CYSCREEN && kSmXVirtualScreen == SM_XVIRTUALSCREEN &&
              kSmYVirtualScreen == SM_YVIRTUALSCREEN && kSmCxVirtualScreen == SM_CXVIRTUALSCREEN &&
              kSmCyVirtualScreen == SM_CYVIRTUALSCREEN &&
              kProcessPerMonitorDpiAware == 2);  // PROCESS_PER_MONITOR_DPI_AWARE
static_assert(kEwxReboot == EWX_REBOOT && kEwxPowerOff == EWX_POWEROFF &&
              kEwxForceIfHung == EWX_FORCEIFHUNG);

// GDI.
static_assert(kLogPixelsX == LOGPIXELSX);
static_assert(std::is_same_v<GdiObjectHandle, HGDIOBJ> && sizeof(ColorRef) == sizeof(COLORREF) &&
              std::is_unsigned_v<ColorRef>);
static_assert(Rgb(0x12, 0x34, 0x56) == RGB(0x12, 0x34, 0x56));
static_assert(kPsSolid == PS_SOLID && kTransparent == TRANSPARENT && kOpaque == OPAQUE &&
              kSrcCopy == SRCCOPY);
static_assert(kRegionError == ERROR && kNullRegion == NULLREGION && kSimpleRegion == SIMPLEREGION &&
              kComplexRegion == COMPLEXREGION);
static_assert(kDefaultCharset == DEFAULT_CHARSET && kOutDefaultPrecis == OUT_DEFAULT_PRECIS &&
              kClipDefaultPrecis == CLIP_DEFAULT_PRECIS && kClearTypeQuality == CLEARTYPE_QUALITY &&
              kDefaultPitch == DEFAULT_PITCH && kFfDontCare == FF_DONTCARE &&
              kFwNormal == FW_NORMAL && kFwBold == FW_BOLD);
static_assert(kDtLeft == DT_LEFT && kDtCenter == DT_CENTER && kDtRight == DT_RIGHT &&
              kDtVCenter == DT_VCENTER && kDtBottom == DT_BOTTOM && kDtWordBreak == DT_WORDBREAK &&
              kDtSingleLine == DT_SINGLELINE && kDtNoClip == DT_NOCLIP &&
              kDtNoPrefix == DT_NOPREFIX && kDtEndEllipsis == DT_END_ELLIPSIS);
static_assert(sizeof(PaintStruct::reserved) == sizeof(PAINTSTRUCT::rgbReserved));

// Shell.
static_assert(kCsidlCommonAppData == CSIDL_COMMON_APPDATA);
static_assert(kNimAdd == NIM_ADD && kNimModify == NIM_MODIFY && kNimDelete == NIM_DELETE &&
              kNifMessage == NIF_MESSAGE && kNifIcon == NIF_ICON && kNifTip == NIF_TIP);

// Services.
static_assert(kScManagerConnect == SC_MANAGER_CONNECT &&
              kServiceQueryStatus == SERVICE_QUERY_STATUS && kServiceStart == SERVICE_START);
static_assert(kServiceStopped == SERVICE_STOPPED && kServiceStartPending == SERVICE_START_PENDING &&
              kServiceStopPending == SERVICE_STOP_PENDING && kServiceRunning == SERVICE_RUNNING &&
              kServiceContinuePending == SERVICE_CONTINUE_PENDING &&
              kServicePausePending == SERVICE_PAUSE_PENDING && kServicePaused == SERVICE_PAUSED);

// Registry. The predefined keys are no constant expressions: the Wine test program checks them.
static_assert(kKeyQueryValue == KEY_QUERY_VALUE && kKeySetValue == KEY_SET_VALUE &&
              kKeyCreateSubKey == KEY_CREATE_SUB_KEY &&
              kKeyEnumerateSubKeys == KEY_ENUMERATE_SUB_KEYS && kKeyNotify == KEY_NOTIFY &&
              kKeyRead == KEY_READ && kKeyWrite == KEY_WRITE && kKeyAllAccess == KEY_ALL_ACCESS &&
              kKeyWow6464Key == KEY_WOW64_64KEY && kKeyWow6432Key == KEY_WOW64_32KEY);
static_assert(kRegNone == REG_NONE && kRegSz == REG_SZ && kRegExpandSz == REG_EXPAND_SZ &&
              kRegBinary == REG_BINARY && kRegDword == REG_DWORD &&
              kRegDwordBigEndian == REG_DWORD_BIG_ENDIAN && kRegLink == REG_LINK &&
              kRegMultiSz == REG_MULTI_SZ && kRegResourceList == REG_RESOURCE_LIST &&
              kRegFullResourceDescriptor == REG_FULL_RESOURCE_DESCRIPTOR &&
              kRegResourceRequirementsList == REG_RESOURCE_REQUIREMENTS_LIST &&
              kRegQword == REG_QWORD);
static_assert(kRrfRtRegNone == RRF_RT_REG_NONE && kRrfRtRegSz == RRF_RT_REG_SZ &&
              kRrfRtRegExpandSz == RRF_RT_REG_EXPAND_SZ && kRrfRtRegBinary == RRF_RT_REG_BINARY &&
              kRrfRtRegDword == RRF_RT_REG_DWORD && kRrfRtRegMultiSz == RRF_RT_REG_MULTI_SZ &&
              kRrfRtRegQword == RRF_RT_REG_QWORD && kRrfRtDword == RRF_RT_DWORD &&
              kRrfRtQword == RRF_RT_QWORD && kRrfRtAny == RRF_RT_ANY &&
              kRrfSubkeyWow6464Key == RRF_SUBKEY_WOW6464KEY &&
              kRrfSubkeyWow6432Key == RRF_SUBKEY_WOW6432KEY && kRrfNoExpand == RRF_NOEXPAND &&
              kRrfZeroOnFailure == RRF_ZEROONFAILURE);
static_assert(kRegOptionNonVolatile == REG_OPTION_NON_VOLATILE &&
              kRegCreatedNewKey == REG_CREATED_NEW_KEY &&
              kRegOpenedExistingKey == REG_OPENED_EXISTING_KEY);
static_assert(kErrorBadPathname == ERROR_BAD_PATHNAME && kErrorNoAccess == ERROR_NOACCESS &&
              kErrorKeyDeleted == ERROR_KEY_DELETED &&
              kErrorDatatypeMismatch == ERROR_DATATYPE_MISMATCH &&
              kErrorUnsupportedType == ERROR_UNSUPPORTED_TYPE);
static_assert(sizeof(long) == sizeof(LSTATUS) && sizeof(std::uint32_t) == sizeof(DWORD));

// Memory, firmware, the service manager's enumeration.
static_assert(kFirmwareTableRsmb == ((std::uint32_t{'R'} << 24) | ('S' << 16) | ('M' << 8) | 'B'));
static_assert(kScEnumProcessInfo == SC_ENUM_PROCESS_INFO && kServiceDriver == SERVICE_DRIVER &&
              kServiceStateAll == SERVICE_STATE_ALL);

// Devices.
static_assert(kDigcfPresent == DIGCF_PRESENT && kDigcfAllClasses == DIGCF_ALLCLASSES &&
              kDigcfDeviceInterface == DIGCF_DEVICEINTERFACE);
static_assert(kSpdrpDeviceDesc == SPDRP_DEVICEDESC && kSpdrpService == SPDRP_SERVICE &&
              kSpdrpClass == SPDRP_CLASS && kSpdrpClassGuid == SPDRP_CLASSGUID &&
              kSpdrpMfg == SPDRP_MFG && kSpdrpFriendlyName == SPDRP_FRIENDLYNAME);
static_assert(kCrSuccess == CR_SUCCESS && kCrFailure == CR_FAILURE &&
              kCrNoSuchDevnode == CR_NO_SUCH_DEVNODE && kCrRemoveVetoed == CR_REMOVE_VETOED &&
              kCmLocateDevnodeNormal == CM_LOCATE_DEVNODE_NORMAL &&
              kCmRemoveUiNotOk == CM_REMOVE_UI_NOT_OK);
static_assert(kDbtDeviceArrival == DBT_DEVICEARRIVAL &&
              kDbtDeviceRemoveComplete == DBT_DEVICEREMOVECOMPLETE &&
              kDbtDevtypVolume == DBT_DEVTYP_VOLUME &&
              kDbtDevtypDeviceInterface == DBT_DEVTYP_DEVICEINTERFACE &&
              kDeviceNotifyWindowHandle == DEVICE_NOTIFY_WINDOW_HANDLE &&
              kDeviceNotifyAllInterfaceClasses == DEVICE_NOTIFY_ALL_INTERFACE_CLASSES);
static_assert(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) == 32);

// Network.
static_assert(kAfInet == AF_INET && kGaaFlagSkipAnycast == GAA_FLAG_SKIP_ANYCAST &&
              kGaaFlagSkipMulticast == GAA_FLAG_SKIP_MULTICAST &&
              kGaaFlagSkipDnsServer == GAA_FLAG_SKIP_DNS_SERVER &&
              kErrorBufferOverflow == ERROR_BUFFER_OVERFLOW && kIfOperStatusUp == IfOperStatusUp &&
              kIfTypeEthernetCsmacd == IF_TYPE_ETHERNET_CSMACD &&
              kIfTypeSoftwareLoopback == IF_TYPE_SOFTWARE_LOOPBACK &&
              kIfTypeIeee80211 == IF_TYPE_IEEE80211 && kIfTypeTunnel == IF_TYPE_TUNNEL);

// Capture.
static_assert(kSOk == S_OK && kEFail == E_FAIL && kENoInterface == E_NOINTERFACE &&
              kDxgiErrorNotFound == DXGI_ERROR_NOT_FOUND &&
              kDxgiErrorWaitTimeout == DXGI_ERROR_WAIT_TIMEOUT &&
              kDxgiErrorAccessLost == DXGI_ERROR_ACCESS_LOST);
static_assert(kD3dDriverTypeHardware == D3D_DRIVER_TYPE_HARDWARE &&
              kD3dFeatureLevel11_0 == D3D_FEATURE_LEVEL_11_0 &&
              kD3dFeatureLevel10_1 == D3D_FEATURE_LEVEL_10_1 &&
              kD3dFeatureLevel10_0 == D3D_FEATURE_LEVEL_10_0);
static_assert(kDxgiFormatB8G8R8A8Unorm == DXGI_FORMAT_B8G8R8A8_UNORM &&
              kD3d11UsageStaging == D3D11_USAGE_STAGING &&
              kD3d11CpuAccessRead == D3D11_CPU_ACCESS_READ && kD3d11MapRead == D3D11_MAP_READ);
static_assert(kGdiplusOk == Gdiplus::Ok);
static_assert(sizeof(D3D_FEATURE_LEVEL) == sizeof(std::uint32_t));

// Overlay windows.
static_assert(kNullBrush == NULL_BRUSH && kSwShowNoActivate == SW_SHOWNOACTIVATE &&
              kSwShowNormal == SW_SHOWNORMAL && kDtEditControl == DT_EDITCONTROL);

// Low-level keyboard hook.
static_assert(std::is_same_v<HookHandle, HHOOK>);
static_assert(kWhKeyboardLl == WH_KEYBOARD_LL && kHcAction == HC_ACTION &&
              kLlkhfAltDown == LLKHF_ALTDOWN && kLlkhfUp == LLKHF_UP && kVkTab == VK_TAB &&
              kVkControl == VK_CONTROL && kVkEscape == VK_ESCAPE && kVkDelete == VK_DELETE &&
              kVkLWin == VK_LWIN && kVkRWin == VK_RWIN && kVkF4 == VK_F4);

}  // namespace platform
