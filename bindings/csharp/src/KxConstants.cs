namespace Kxtcp64 {

/// <summary>The constants of kxtcp64.h: results, error numbers and kinds of screenshots.</summary>
public static class KxConstants {
#pragma warning disable CS1591 // their names tell what they are
  // made from bindings/interface.json
  public const int KX_OK = 0;
  public const int KX_FAILED = -1;
  public const int KX_BUFFER_TOO_SMALL = -2;
  public const int KX_TIMEOUT = -3;
  public const int KX_NO_CONTEXT = -5;
  public const int KX_ERROR_NONE = 0;
  public const int KX_ERROR_SUCCESS = 1;
  public const int KX_ERROR_GENERAL = -1;
  public const int KX_ERROR_TIMEOUT = -3;
  public const int KX_ERROR_PROFILE_IN_USE = -4;
  public const int KX_SCREENSHOT_BROWSER = 0;
  public const int KX_SCREENSHOT_PAGE = 1;
  // end of what is made
#pragma warning restore CS1591
}

}
