# The functions of KXTCP64.dll for Ruby, with the Fiddle that comes with it. They are those of kxtcp64.h, under their own
# names: texts are UTF-8, and a buffer is a String of the size that was asked for before.
#
#     Kxtcp64.load("KXTCP64.dll")
#     context = Kxtcp64.kx_ContextCreate
require "fiddle/import"

module Kxtcp64
  extend Fiddle::Importer

  PROTOTYPES = [
    # made from bindings/interface.json
    "int kx_ContextCreate()",
    "void kx_ContextDestroy(int context)",
    "int kx_GetLastErrorNumber(int context)",
    "int kx_GetLastErrorText(int context, char* buffer, int size)",
    "int kx_Init(int context, const char* browser, const char* options, const char* browserPath, int port, int openNewBrowser, int timeout)",
    "int kx_SetVar(int context, const char* name, const char* value)",
    "int kx_Play(int context, const char* macro, int timeout)",
    "int kx_Display(int context, const char* message, int timeout)",
    "int kx_TakeBrowserScreenshot(int context, const char* path, int type, int timeout)",
    "int kx_GetLastExtract(int context, char* buffer, int size, int index)",
    "int kx_GetPerformance(int context, char* buffer, int size)",
    "int kx_GetLastPerformance(int context, int index, char* name, int* nameSize, char* value, int* valueSize)",
    "int kx_GetBrowserProcessId(int context)",
    "int kx_Exit(int context, int timeout)",
    "int kxr_GetCommandLine(const char* browser, const char* options, char* buffer, int size, const char* pageText)",
    "int kxr_Init(int context, const char* browser, const char* options, int openNewBrowser, int timeout)",
    "int kxr_Exit(int context, int timeout)",
    # end of what is made
  ].freeze

  def self.load(file)
    dlload file
    PROTOTYPES.each { |prototype| extern prototype }
  end
end
