' The COM server late-bound, as a VBScript host uses it: run by scripts/test-com.sh with
' cscript, VESK_DATA naming a data folder whose vesk.ini gives the screen script (two domains
' entered), the same folder as the script's argument. cscript ends with status 0 even when the
' script fails: the last line printed, "VBS OK", is what tells success.
Option Explicit
Dim ass, meme, e, fso, dossier, fichier, texte, n

Set fso = CreateObject("Scripting.FileSystemObject")
dossier = WScript.Arguments(0)

Set ass = CreateObject("Vesk.AsS")
Set meme = ass.InstanceAsS()
ass.ModifEntParam 4
ass.OuvS
ass.EntDom
ass.EdtDom

' The listing (text) holds the domains entered.
n = 0
For Each fichier In fso.GetFolder(dossier & "\EDITIONS").Files
  texte = fso.OpenTextFile(fichier.Path, 1).ReadAll()
  n = n + 1
Next
If n <> 1 Then Err.Raise 1000, "essai.vbs", n & " éditions au lieu d'une"
If InStr(texte, "| REGLT ") = 0 Or InStr(texte, "Mode de règlement") = 0 Then
  Err.Raise 1001, "essai.vbs", "domaine absent de l'édition : " & texte
End If

' A variable by reference (VT_BYREF|VT_VARIANT), then one past the end of the file.
e = 1
ass.LireDom e
If e <> 1 Then Err.Raise 1002, "essai.vbs", "LireDom a changé le numéro : " & e
e = 3
On Error Resume Next
ass.LireDom e
If Err.Number <> &H80040201 Or InStr(Err.Description, "DOM.DAT") = 0 Then
  n = Err.Number
  On Error GoTo 0
  Err.Raise 1003, "essai.vbs", "erreur attendue sur DOM.DAT, reçu " & Hex(n)
End If
On Error GoTo 0

ass.Util
Set meme = Nothing
Set ass = Nothing
WScript.Echo "VBS OK"
