// SPDX-License-Identifier: MIT
// The built-in status table. Row order matters: the search stops at the first
// match, and a later row with the same code is dead (0x8004E02A appears twice,
// and hosts have always seen the first row's text). The nine rows of the disc
// recorder's transfer service (0x8004E17C to 0x8004E184) are not carried.
#include "kernel/status_table.h"

#include "platform/status.h"

namespace vane::kernel {
namespace {

constexpr StatusRow kStatusRows[] = {
    {MakeStatus(0x80004005), u"\n\nThe reason for the error could not be determined."},
    {MakeStatus(0x8000FFFF), u"\n\nAn unexpected error has occurred."},
    {MakeStatus(0x80070057), u"\n\nAn invalid argument was specified."},
    {MakeStatus(0x80004003), u"\n\nAn invalid pointer was specified."},
    {MakeStatus(0x80004001), u"\n\nA necessary function has not been implemented."},
    {MakeStatus(0x8007000E),
     u"\n\nThe system is low on memory. You may be able to reduce memory usage by closing other applications."},
    {MakeStatus(0x80070006), u"\n\nAn invalid handle was specified."},
    {MakeStatus(0x80004002),
     u"\n\nA necessary COM interface was not available.  You may need to reboot your computer."},
    {MakeStatus(0x80070005),
     u"\n\nAccess is denied.  Make sure this file is not read only or in use by another application."},
    {MakeStatus(0x80040154), u"\n\nThe COM object failed to initialize."},
    {MakeStatus(0x8004E000), u"\n\nAn unsupported media type was requested."},
    {MakeStatus(0x0004E005), u"\n\nThis feature is not configured properly."},
    {MakeStatus(0x8004E001), u"\n\nThe request is not enabled for this device."},
    {MakeStatus(0x8004E002), u"\n\nThe disk is full. Please free some space and try again."},
    {MakeStatus(0x8004E003),
     u"\n\nApplication resources are low. You may regain resources by closing some applications."},
    {MakeStatus(0x8004E004), u"\n\nTrying to open allocated resource."},
    {MakeStatus(0x8004E005), u"\n\nThe system is busy."},
    {MakeStatus(0x8004E00C), u"\n\nThe operation was cancelled by the user."},
    {MakeStatus(0x8004E006), u"\n\nThe file could not be created."},
    {MakeStatus(0x8004E032), u"\n\nThe file could not be created. Another file with that name exists."},
    {MakeStatus(0x8004E007),
     u"\n\nThe file could not be opened. Make sure the file exists and that you have access to the file/folder."},
    {MakeStatus(0x8004E05A), u"\n\nThe file could not be opened because some other application already has it open."},
    {MakeStatus(0x8004E05B),
     u"\n\nThe file could not be opened because you do not have a high enough access permission to open it."},
    {MakeStatus(0x8004E009),
     u"\n\nAn error occurred writing the file. Make sure you have write access to the file/folder and that there "
     u"is enough free space."},
    {MakeStatus(0x8004E008),
     u"\n\nAn error occurred reading the file. Make sure you have read access to the file/folder and that it is "
     u"not corrupted."},
    {MakeStatus(0x8004E16D), u"\n\nThe file could not be modified because it is marked as readonly."},
    {MakeStatus(0x8004E00B), u"\n\nThe file is most likely corrupted or of an unknown format."},
    {MakeStatus(0x8004E00D), u"\n\nThe file name is not valid."},
    {MakeStatus(0x8004E01C), u"\n\nThe file was created with an unsupported version of the program."},
    {MakeStatus(0x8004E165), u"\n\nThe file is in use by another operation."},
    {MakeStatus(0x8004E00E),
     u"\n\nA necessary resource is missing. You should re-install $(AppName) as the application file appears to be "
     u"corrupted."},
    {MakeStatus(0x8004E00F), u"\n\nAn error occurred while creating a window."},
    {MakeStatus(0x8004E010), u"\n\nAn error occurred while opening a device driver."},
    {MakeStatus(0x8004E011), u"\n\nAn error occurred while opening a codec."},
    {MakeStatus(0x8004E012), u"\n\nAn error occurred while converting with a codec."},
    {MakeStatus(0x8004E015), u"\n\nA device is not available."},
    {MakeStatus(0x80040037), u"\n\nA device does not exist."},
    {MakeStatus(0x80040964), u"\n\nThe device specified is in use."},
    {MakeStatus(0x800404B0), u"\n\nAn invalid device was specified."},
    {MakeStatus(0x800404E0), u"\n\nNo more devices."},
    {MakeStatus(0x8004E0A0), u"\n\nNo devices exist."},
    {MakeStatus(0x8004E016), u"\n\nThe file is an unsupported format."},
    {MakeStatus(0x8004E017), u"\n\nAn Exception has occurred."},
    {MakeStatus(0x8004E0A1), u"\n\nTime out occurred when preparing the audio device for playback."},
    {MakeStatus(0x8004E080),
     u"\n\nThe file is most likely corrupted or of an unknown format. A necessary RIFF header is missing."},
    {MakeStatus(0x8004E081),
     u"\n\nThe file is most likely corrupted or of an unknown format. A necessary LIST header is missing."},
    {MakeStatus(0x8004E082),
     u"\n\nThe file is most likely corrupted or of an unknown format. A chunk has a length of 0."},
    {MakeStatus(0x8004E083),
     u"\n\nThis file cannot be opened by the installed version of $(AppName), or the file may be corrupt. Please "
     u"download and install the latest update of $(AppName)."},
    {MakeStatus(0x80030070),
     u"\n\nThe system is low on memory. You may be able to reduce memory usage by closing other applications."},
    {MakeStatus(0x80030005), u"\n\nThere are not sufficient permissions for reading/writing a stream object."},
    {MakeStatus(0x80030103), u"\n\nData cannot be written for reasons other than no access or no space."},
    {MakeStatus(0x80030009), u"\n\nAn invalid pointer was specified."},
    {MakeStatus(0x8003001D),
     u"\n\nAn error occurred writing the file. Make sure you have write access to the file/folder and that there "
     u"is enough free space."},
    {MakeStatus(0x8004E084),
     u"\n\nAn error occurred when loading a plug-in or plug-ins.  The plug-in(s) specified are not installed on "
     u"this system."},
    {MakeStatus(0x0004E009),
     u"\n\nAn error occurred when loading a plug-in or plug-ins.  The plug-in preset(s) could not be loaded."},
    {MakeStatus(0x0004E003), u"\n\nOne or more media files could not be located."},
    {MakeStatus(0x8004E02E), u"\n\nThere was no room to add the plug-in(s)."},
    {MakeStatus(0x8004E02F), u"\n\nThe plug-ins could not be used on a track."},
    {MakeStatus(0x8004E030), u"\n\nThe plug-ins do not support the track's media type."},
    {MakeStatus(0x8004E031),
     u"One or more effects in the package failed to load.\n\nDo you want to try to load the loadable effects from "
     u"the chain?"},
    {MakeStatus(0x8004E0A2), u"\n\nUnable to mix audio.  The operation timed out."},
    {MakeStatus(0x8004E051), u"\n\nThe file exists in the project and cannot be overwritten."},
    {MakeStatus(0x8004E0A3), u"\n\nUnable to build peaks.  Cannot get access to the wave file."},
    {MakeStatus(0x8004E01F), u"\n\nNo compatible video codec was found."},
    {MakeStatus(0x8004E0A5), u"\n\nNo template was specified."},
    {MakeStatus(0x8004E0AF), u"The template is invalid."},
    {MakeStatus(0x8004E019),
     u"\n\nThe existing file could not be deleted. Make sure this file is not read only or in use by another "
     u"application."},
    {MakeStatus(0x8004E01E), u"\n\nAn error occurred while opening a codec."},
    {MakeStatus(0x8004E0A6), u"\n\nWindows was unable to execute the given command."},
    {MakeStatus(0x0004E000), u"\n\nThe file had a problem in it; however, some content may have been recovered."},
    {MakeStatus(0x0004E006), u"\n\nNo compatible video codec was found."},
    {MakeStatus(0x8004E00A), u"\n\nThe item was not found."},
    {MakeStatus(0x8004E01A), u"\n\nThe file has no audio."},
    {MakeStatus(0x8004E01B), u"\n\nA component failed to initialize."},
    {MakeStatus(0x8004E01D), u"\n\nThe file has no video."},
    {MakeStatus(0x8004E023), u"\n\nThere is not enough audio data available for this operation."},
    {MakeStatus(0x8004E050), u"\n\nThere is not enough data available for this operation."},
    {MakeStatus(0x8004E025), u"\n\nThe file may be corrupt."},
    {MakeStatus(0x8004E026), u"\n\nToo many files are open."},
    {MakeStatus(0x8004E028), u"\n\nThe sampling rate is not supported by the codec."},
    {MakeStatus(0x8004E0A8), u"\n\nInsufficient bandwidth to store target data rate."},
    {MakeStatus(0x8004E054), u"\n\nThe application can't read data fast enough to keep up with the operation."},
    {MakeStatus(0x0004E007), u"\n\nThe proper stream could not be found in the media file."},
    {MakeStatus(0x0004E008), u"\n\nSome streams in the media file could not be opened."},
    {MakeStatus(0x8004E035), u"\n\nA stream could not be opened because it was unrecognized or corrupt."},
    {MakeStatus(0x8004E036), u"\n\nA stream could not be opened."},
    {MakeStatus(0x8004E037), u"\n\nA stream could not be created."},
    {MakeStatus(0x8004E038), u"\n\nA stream could not be read."},
    {MakeStatus(0x8004E039), u"\n\nA stream could not be written."},
    {MakeStatus(0x8004E171), u"The file is already opened to a different stream, cannot open requested stream."},
    {MakeStatus(0x8004E172), u"The requested stream number is not a valid stream in the file."},
    {MakeStatus(0x8004E173), u"\n\nCurrent project is unnamed, cannot perform the operation."},
    {MakeStatus(0x8004E174), u"\n\nIntel Quick Sync Video is not available."},
    {MakeStatus(0x8004E033), u"\n\nThe application does not support this file type."},
    {MakeStatus(0x8004E03A),
     u"\n\nThe file being rendered has exceeded the maximum size allowed for the selected format."},
    {MakeStatus(0x8004E0C5), u"\n\nAn IOCTL call has failed."},
    {MakeStatus(0x0004E00B), u"\n\nA file had to be renamed during the operation."},
    {MakeStatus(0x0004E00C), u"\n\nThe format of the stream is not consistent throughout the file."},
    {MakeStatus(0x0004E00E), u"\n\nThis project file was created by an older version of $(AppName)."},
    {MakeStatus(0x8004E03B), u"\n\nThe selected codec does not support the current render settings."},
    {MakeStatus(0x8004E03D),
     u"\n\nAn incorrect number of audio input channels were specified\n\n(for example, must be 2 if stereo music "
     u"is selected)."},
    {MakeStatus(0x8004E03E), u"\n\nThe video frame size is not supported."},
    {MakeStatus(0x0004E010), u"\n\nThis project file was created by a different version of the program."},
    {MakeStatus(0x8004E163), u"\n\nNo renderer found for source reader."},
    {MakeStatus(0x0004E015),
     u"\n\nThe playback devices specified in the project do not map to the current system settings. The project "
     u"has been remapped to different devices."},
    {MakeStatus(0x8004E0AB), u"\n\nThe template's audio bitrate is too large for the target bitrate."},
    {MakeStatus(0x8004E0B4), u"\n\nThe template's peak bitrate is less than the average bitrate."},
    {MakeStatus(0x8004E142), u"\n\nYou need to be logged on with adminstrator privileges to complete this operation."},
    {MakeStatus(0x8004E047), u"\n\nThe file format plugin for the specified format was not properly initialized."},
    {MakeStatus(0x8004E02A), u"The bit depth is not supported."},
    {MakeStatus(0x8004E02B), u"\n\nThe number of channels is not supported."},
    {MakeStatus(0xC00D0BC2), u"\n\nThe required Windows Media audio codec is not installed."},
    {MakeStatus(0xC00D0BC4), u"\n\nThe required Windows Media video codec is not installed."},
    {MakeStatus(0xC00D0BCF), u"\n\nThere are no more Windows Media samples in the current range."},
    {MakeStatus(0xC00D002B), u"\n\nThe Windows Media request is invalid in the current state."},
    {MakeStatus(0xC00D0BC6), u"\n\nThe Windows Media profile is invalid."},
    {MakeStatus(0xC00D0BC3), u"\n\nAn error occurred while converting with a codec."},
    {MakeStatus(0xC00D0BC5), u"\n\nAn error occurred while converting with a codec."},
    {MakeStatus(0x8004E020),
     u"\n\nThe file could not be renamed. Make sure this file is not read only or in use by another application."},
    {MakeStatus(0x8004E162), u"\n\nThe TWAIN manager could not be initialized. TWAIN_32.dll missing or corrupt."},
    {MakeStatus(0x8004E0B5),
     u"\n\nNo compatible WIA devices could be found.\nIf a compatible device is available, make sure the device is "
     u"connected and turned on."},
    {MakeStatus(0x8004E0B6), u"\n\nThe WIA device's capture dialog failed to initialize."},
    {MakeStatus(0x8004E109),
     u"\n\nThis project contains CD track markers that are not properly quantized.\n\n$(AppName) has quantized "
     u"these markers to the nearest CD frame boundary. You should verify the placement and resave the project"},
    {MakeStatus(0x8004E045), u"\n\nThe requested command is not available at this time."},
    {MakeStatus(0x8004E089),
     u"\n\nThis file appears to have been created in a newer version of $(AppName), and is not supported by this "
     u"version of $(AppName).\nPlease download and install the latest update of $(AppName)."},
    {MakeStatus(0x0004E019),
     u"This file appears to have been created in an older version of $(AppName).  All tracks may not be displayed "
     u"properly.  It is recommended to create a new project."},
    {MakeStatus(0x0004E018),
     u"\n\nCertain features contained in the older project file could not be converted exactly into the new "
     u"version. As a result the project may not look or sound the same."},
    {MakeStatus(0x8004E05D),
     u"\n\nThe source project information in the media file is either not found or is not valid."},
    {MakeStatus(0x8004E05E), u"\n\nThe source project file referenced by the media does not exist."},
    {MakeStatus(0x8004E05F), u"\n\nMedia Manager initialization failed."},
    {MakeStatus(0x8004E060), u"\n\nThe Microsoft .NET runtime could not be initialized."},
    {MakeStatus(0x8004E0D4), u"ASPI is not installed."},
    {MakeStatus(0x8004E03C), u"Buffer to small."},
    {MakeStatus(0x8004E166), u"Clipboard is already open."},
    {MakeStatus(0x8004E0A9), u"Duplicate item."},
    {MakeStatus(0x800A0026), u"End of File is not an error."},
    {MakeStatus(0x8004E0EC), u"Cannot connect to the internet."},
    {MakeStatus(0x8004E0EE), u"No data was read from the internet."},
    {MakeStatus(0x8004E0ED), u"Could not open URL"},
    {MakeStatus(0x8004E0EF), u"Failed to read from the internet resource."},
    {MakeStatus(0x8004E0AC), u"An operation is in progress."},
    {MakeStatus(0x8004E055), u"The CD Track is invalid."},
    {MakeStatus(0x8004E0C9), u"There is no DISC in the drive."},
    {MakeStatus(0x8004E0AE), u"There are no Publishing Providers."},
    {MakeStatus(0x8004E0C2), u"The device has not been configured."},
    {MakeStatus(0x8004E0AA), u"Recording in progress."},
    {MakeStatus(0x8004E024), u"Cannot read script."},
    {MakeStatus(0x8004E15F), u"Cannot find initialization file."},
    {MakeStatus(0x8004E161), u"Zip extraction failed."},
    {MakeStatus(0x8004E08A), u"\n\nFailed to register with windows terminal services."},
    {MakeStatus(0x8004E186), u"\n\nThe destination folder cannot reside under the source folder."},
    // A second row for this code; the search never reaches it.
    {MakeStatus(0x8004E02A), u"The bit depth is not supported."},
    {MakeStatus(0x8004E061), u"The sample rate is not supported."},
    {MakeStatus(0x8004E16E),
     u"\n\nOne or more files could not be moved because they are in use by another application."},
    {MakeStatus(0x8004E16F),
     u"\n\nOne or more files could not be deleted because they are in use by another application."},
    {MakeStatus(0x8004E170), u"\n\nThe file already exists."},
    {MakeStatus(0x8004E189),
     u"\n\nThe instrument has compressed samples which are currently not supportted by this software."},
};

constexpr const WCHAR* FindText(HRESULT status) {
  for (const StatusRow& row : kStatusRows)
    if (row.status == status) return row.text;
  return nullptr;
}

// The table is data that hosts rely on; a few compile-time facts guard it.
static_assert(FindText(MakeStatus(0x80004005)) != nullptr);
static_assert(FindText(MakeStatus(0x12345678)) == nullptr);
static_assert(FindText(MakeStatus(0x8004E02A))[0] == u'T');  // first row of the pair, no line feeds

}  // namespace

std::span<const StatusRow> BuiltInStatusRows() { return kStatusRows; }

}  // namespace vane::kernel

const WCHAR* ZoStatus_FindText(HRESULT status) { return vane::kernel::FindText(status); }
