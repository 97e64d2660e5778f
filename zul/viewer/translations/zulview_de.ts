<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
  <context>
    <name>CNameDialog</name>
    <message>
      <source>Enter no more than %1 characters.</source>
      <translation>Geben Sie höchstens %1 Zeichen ein.</translation>
    </message>
    <message>
      <source>This name cannot travel in a .reg file (%1); .qjv files keep it whole.</source>
      <translation>Dieser Name lässt sich nicht in einer .reg-Datei speichern (%1); .qjv-Dateien behalten ihn vollständig.</translation>
    </message>
  </context>
  <context>
    <name>CViewEditDlg</name>
    <message>
      <source>Add "%1"</source>
      <translation>„%1“ hinzufügen</translation>
    </message>
    <message>
      <source>Default view</source>
      <translation>Standardansicht</translation>
    </message>
    <message>
      <source>Delete "%1"</source>
      <translation>„%1“ löschen</translation>
    </message>
    <message>
      <source>Delete %1 views</source>
      <translation>%1 Ansichten löschen</translation>
    </message>
    <message>
      <source>Load %1</source>
      <translation>%1 laden</translation>
    </message>
    <message>
      <source>Make "%1" the default</source>
      <translation>„%1“ zur Standardansicht machen</translation>
    </message>
    <message>
      <source>Move "%1"</source>
      <translation>„%1“ verschieben</translation>
    </message>
    <message>
      <source>Nothing to redo</source>
      <translation>Nichts wiederherzustellen</translation>
    </message>
    <message>
      <source>Nothing to undo</source>
      <translation>Nichts rückgängig zu machen</translation>
    </message>
    <message>
      <source>Orientation and position of the camera</source>
      <translation>Ausrichtung und Position der Kamera</translation>
    </message>
    <message>
      <source>Orientation and position of the stored view "%1"</source>
      <translation>Ausrichtung und Position der gespeicherten Ansicht „%1“</translation>
    </message>
    <message>
      <source>Pictures</source>
      <translation>Bilder</translation>
    </message>
    <message>
      <source>Redo</source>
      <translation>Wiederherstellen</translation>
    </message>
    <message>
      <source>Redo: %1 (Ctrl+Shift+Z)</source>
      <translation>Wiederherstellen: %1 (Strg+Umschalt+Z)</translation>
    </message>
    <message>
      <source>Rename "%1"</source>
      <translation>„%1“ umbenennen</translation>
    </message>
    <message>
      <source>Replace "%1"</source>
      <translation>„%1“ ersetzen</translation>
    </message>
    <message>
      <source>Show each view as a picture of the model seen from it</source>
      <translation>Jede Ansicht als Bild des Modells aus ihrer Richtung zeigen</translation>
    </message>
    <message>
      <source>The stored views could not be changed back: they are as they were.</source>
      <translation>Die gespeicherten Ansichten konnten nicht zurückgesetzt werden; sie sind unverändert.</translation>
    </message>
    <message>
      <source>The stored views were changed outside this dialog: what it did before can no longer be undone.</source>
      <translation>Die gespeicherten Ansichten wurden außerhalb dieses Dialogs geändert: frühere Änderungen hier lassen sich nicht mehr rückgängig machen.</translation>
    </message>
    <message>
      <source>Undo</source>
      <translation>Rückgängig</translation>
    </message>
    <message>
      <source>Undo: %1 (Ctrl+Z)</source>
      <translation>Rückgängig: %1 (Strg+Z)</translation>
    </message>
  </context>
  <context>
    <name>KeyBindings</name>
    <message>
      <source>+Isometric: shows the Front Right Top corner</source>
      <translation>+Isometrisch: zeigt die Ecke vorne rechts oben</translation>
    </message>
    <message>
      <source>+X: look along +X — shows the Left side</source>
      <translation>+X: Blick entlang +X — zeigt die linke Seite</translation>
    </message>
    <message>
      <source>+Y: look along +Y — shows the Front side</source>
      <translation>+Y: Blick entlang +Y — zeigt die Vorderseite</translation>
    </message>
    <message>
      <source>+Z: look along +Z — shows the Bottom side</source>
      <translation>+Z: Blick entlang +Z — zeigt die Unterseite</translation>
    </message>
    <message>
      <source>-Isometric: shows the Back Right Top corner, upside down</source>
      <translation>-Isometrisch: zeigt die Ecke hinten rechts oben, kopfüber</translation>
    </message>
    <message>
      <source>-X: look along -X — shows the Right side</source>
      <translation>-X: Blick entlang -X — zeigt die rechte Seite</translation>
    </message>
    <message>
      <source>-Y: look along -Y — shows the Back side</source>
      <translation>-Y: Blick entlang -Y — zeigt die Rückseite</translation>
    </message>
    <message>
      <source>-Z: look along -Z — shows the Top side</source>
      <translation>-Z: Blick entlang -Z — zeigt die Oberseite</translation>
    </message>
    <message>
      <source>Camera back</source>
      <translation>Kamera zurück</translation>
    </message>
    <message>
      <source>Camera forward</source>
      <translation>Kamera vor</translation>
    </message>
    <message>
      <source>Fit the whole model in the view</source>
      <translation>Das ganze Modell einpassen</translation>
    </message>
    <message>
      <source>Larger points (point clouds)</source>
      <translation>Größere Punkte (Punktwolken)</translation>
    </message>
    <message>
      <source>Lock or free the up vector</source>
      <translation>Aufwärtsvektor sperren oder freigeben</translation>
    </message>
    <message>
      <source>Open models</source>
      <translation>Modelle öffnen</translation>
    </message>
    <message>
      <source>Perspective or orthographic</source>
      <translation>Perspektivisch oder orthografisch</translation>
    </message>
    <message>
      <source>Quit</source>
      <translation>Beenden</translation>
    </message>
    <message>
      <source>Smaller points (point clouds)</source>
      <translation>Kleinere Punkte (Punktwolken)</translation>
    </message>
    <message>
      <source>Stop reading models (the model shown stays)</source>
      <translation>Lesen der Modelle abbrechen (das gezeigte Modell bleibt)</translation>
    </message>
    <message>
      <source>Stored views 1 to 9, in list order</source>
      <translation>Gespeicherte Ansichten 1 bis 9, in Listenreihenfolge</translation>
    </message>
    <message>
      <source>The default view (+Isometric when none is set), fitted</source>
      <translation>Die Standardansicht (+Isometrisch, wenn keine festgelegt ist), eingepasst</translation>
    </message>
    <message>
      <source>The next stored view</source>
      <translation>Die nächste gespeicherte Ansicht</translation>
    </message>
    <message>
      <source>The previous stored view</source>
      <translation>Die vorige gespeicherte Ansicht</translation>
    </message>
  </context>
  <context>
    <name>MainWindow</name>
    <message>
      <source>%1 (%2)</source>
      <translation>%1 (%2)</translation>
    </message>
    <message>
      <source>%1 cannot be imported: %2. No view was changed.</source>
      <translation>%1 kann nicht importiert werden: %2. Keine Ansicht wurde geändert.</translation>
    </message>
    <message>
      <source>%1 exists. Replace it with the stored views?</source>
      <translation>%1 ist vorhanden. Durch die gespeicherten Ansichten ersetzen?</translation>
    </message>
    <message>
      <source>%1 holds no camera. No view was changed.</source>
      <translation>%1 enthält keine Kamera. Keine Ansicht wurde geändert.</translation>
    </message>
    <message>
      <source>%1 is not a view file (.qjv, .reg, .pvcc or .pvcvbc)</source>
      <translation>%1 ist keine Ansichtsdatei (.qjv, .reg, .pvcc oder .pvcvbc)</translation>
    </message>
    <message>
      <source>%1 parts</source>
      <translation>%1 Teile</translation>
    </message>
    <message>
      <source>%1 points</source>
      <translation>%1 Punkte</translation>
    </message>
    <message>
      <source>%1 triangles</source>
      <translation>%1 Dreiecke</translation>
    </message>
    <message>
      <source>%1 views exported to %2</source>
      <translation>%1 Ansichten nach %2 exportiert</translation>
    </message>
    <message>
      <source>%1 views imported from %2</source>
      <translation>%1 Ansichten aus %2 importiert</translation>
    </message>
    <message>
      <source>%1: %2</source>
      <translation>%1: %2</translation>
    </message>
    <message>
      <source>&amp;About ZUL Viewer</source>
      <translation>Ü&amp;ber ZUL Viewer</translation>
    </message>
    <message>
      <source>&amp;Default view</source>
      <translation>&amp;Standardansicht</translation>
    </message>
    <message>
      <source>&amp;Display</source>
      <translation>&amp;Darstellung</translation>
    </message>
    <message>
      <source>&amp;Export Views...</source>
      <translation>Ansichten e&amp;xportieren...</translation>
    </message>
    <message>
      <source>&amp;File</source>
      <translation>&amp;Datei</translation>
    </message>
    <message>
      <source>&amp;Help</source>
      <translation>&amp;Hilfe</translation>
    </message>
    <message>
      <source>&amp;Import Views...</source>
      <translation>Ansichten &amp;importieren...</translation>
    </message>
    <message>
      <source>&amp;Keyboard shortcuts</source>
      <translation>&amp;Tastenkürzel</translation>
    </message>
    <message>
      <source>&amp;Larger points</source>
      <translation>&amp;Größere Punkte</translation>
    </message>
    <message>
      <source>&amp;Model Views</source>
      <translation>&amp;Modellansichten</translation>
    </message>
    <message>
      <source>&amp;Next view</source>
      <translation>&amp;Nächste Ansicht</translation>
    </message>
    <message>
      <source>&amp;Open...</source>
      <translation>Ö&amp;ffnen...</translation>
    </message>
    <message>
      <source>&amp;Point size...</source>
      <translation>&amp;Punktgröße...</translation>
    </message>
    <message>
      <source>&amp;Quit</source>
      <translation>&amp;Beenden</translation>
    </message>
    <message>
      <source>&amp;Recent models</source>
      <translation>&amp;Zuletzt geöffnete Modelle</translation>
    </message>
    <message>
      <source>&amp;Sample model</source>
      <translation>&amp;Beispielmodell</translation>
    </message>
    <message>
      <source>&amp;Transition duration...</source>
      <translation>Ü&amp;bergangsdauer...</translation>
    </message>
    <message>
      <source>(the model reader did not answer)</source>
      <translation>(das Leseprogramm für Modelle hat nicht geantwortet)</translation>
    </message>
    <message>
      <source>1 part</source>
      <translation>1 Teil</translation>
    </message>
    <message>
      <source>1 point</source>
      <translation>1 Punkt</translation>
    </message>
    <message>
      <source>1 triangle</source>
      <translation>1 Dreieck</translation>
    </message>
    <message>
      <source>1 view exported to %1</source>
      <translation>1 Ansicht nach %1 exportiert</translation>
    </message>
    <message>
      <source>1 view imported from %1</source>
      <translation>1 Ansicht aus %1 importiert</translation>
    </message>
    <message>
      <source>&lt;b&gt;ZUL Viewer %1&lt;/b&gt;&lt;p&gt;A viewer of CAD and mesh models with named camera views (the view module KRAdvancedViews).&lt;/p&gt;&lt;p&gt;Drawn with Qt %2 and VTK %3.&lt;br&gt;Models read with %4.&lt;br&gt;The view module: %5.&lt;/p&gt;</source>
      <translation>&lt;b&gt;ZUL Viewer %1&lt;/b&gt;&lt;p&gt;Ein Betrachter für CAD- und Netzmodelle mit benannten Kameraansichten (das Ansichtsmodul KRAdvancedViews).&lt;/p&gt;&lt;p&gt;Gezeichnet mit Qt %2 und VTK %3.&lt;br&gt;Modelle gelesen mit %4.&lt;br&gt;Das Ansichtsmodul: %5.&lt;/p&gt;</translation>
    </message>
    <message>
      <source>A ParaView camera file holds one view. Export:</source>
      <translation>Eine ParaView-Kameradatei enthält eine Ansicht. Exportieren:</translation>
    </message>
    <message>
      <source>About ZUL Viewer</source>
      <translation>Über ZUL Viewer</translation>
    </message>
    <message>
      <source>C&amp;lear default view</source>
      <translation>Standardansicht &amp;aufheben</translation>
    </message>
    <message>
      <source>Cannot clear the default view: %1</source>
      <translation>Die Standardansicht kann nicht aufgehoben werden: %1</translation>
    </message>
    <message>
      <source>Drag to orbit, middle-drag to pan, wheel to zoom, F to fit, Home for the default view</source>
      <translation>Ziehen zum Drehen, mit der mittleren Taste zum Verschieben, Mausrad zum Zoomen, F zum Einpassen, Pos1 für die Standardansicht</translation>
    </message>
    <message>
      <source>Export Views</source>
      <translation>Ansichten exportieren</translation>
    </message>
    <message>
      <source>Fit</source>
      <translation>Einpassen</translation>
    </message>
    <message>
      <source>Fit the whole model in the view</source>
      <translation>Das ganze Modell einpassen</translation>
    </message>
    <message>
      <source>Home</source>
      <translation>Start</translation>
    </message>
    <message>
      <source>Import Views</source>
      <translation>Ansichten importieren</translation>
    </message>
    <message>
      <source>Keep as Stored View</source>
      <translation>Als gespeicherte Ansicht behalten</translation>
    </message>
    <message>
      <source>Keyboard shortcuts</source>
      <translation>Tastenkürzel</translation>
    </message>
    <message>
      <source>Load Views</source>
      <translation>Ansichten laden</translation>
    </message>
    <message>
      <source>Load the views of %1 into the stored views? Stored views of the same names are replaced.</source>
      <translation>Die Ansichten aus %1 in die gespeicherten Ansichten laden? Gespeicherte Ansichten gleichen Namens werden ersetzt.</translation>
    </message>
    <message>
      <source>Lock the up vector: orbiting keeps it, views along it are refused</source>
      <translation>Den Aufwärtsvektor sperren: Drehen behält ihn bei, Ansichten entlang ihm werden abgelehnt</translation>
    </message>
    <message>
      <source>Lock up</source>
      <translation>Oben sperren</translation>
    </message>
    <message>
      <source>Milliseconds a camera change takes (0: at once):</source>
      <translation>Millisekunden für einen Kamerawechsel (0: sofort):</translation>
    </message>
    <message>
      <source>Mo&amp;ve camera</source>
      <translation>Kamera &amp;verschieben</translation>
    </message>
    <message>
      <source>Models (%1);;All files (*)</source>
      <translation>Modelle (%1);;Alle Dateien (*)</translation>
    </message>
    <message>
      <source>Move along +&amp;X</source>
      <translation>Entlang +&amp;X verschieben</translation>
    </message>
    <message>
      <source>Move along +&amp;Y</source>
      <translation>Entlang +&amp;Y verschieben</translation>
    </message>
    <message>
      <source>Move along +&amp;Z</source>
      <translation>Entlang +&amp;Z verschieben</translation>
    </message>
    <message>
      <source>Move along -X</source>
      <translation>Entlang -X verschieben</translation>
    </message>
    <message>
      <source>Move along -Y</source>
      <translation>Entlang -Y verschieben</translation>
    </message>
    <message>
      <source>Move along -Z</source>
      <translation>Entlang -Z verschieben</translation>
    </message>
    <message>
      <source>No model file is open: the views are saved beside one</source>
      <translation>Keine Modelldatei ist geöffnet: die Ansichten werden neben einer gespeichert</translation>
    </message>
    <message>
      <source>No view is the default now</source>
      <translation>Keine Ansicht ist jetzt die Standardansicht</translation>
    </message>
    <message>
      <source>Nothing there to pick</source>
      <translation>Dort ist nichts auszuwählen</translation>
    </message>
    <message>
      <source>Open models</source>
      <translation>Modelle öffnen</translation>
    </message>
    <message>
      <source>P&amp;erspective</source>
      <translation>P&amp;erspektive</translation>
    </message>
    <message>
      <source>P&amp;revious view</source>
      <translation>&amp;Vorige Ansicht</translation>
    </message>
    <message>
      <source>Persp</source>
      <translation>Persp.</translation>
    </message>
    <message>
      <source>Perspective or orthographic projection</source>
      <translation>Perspektivische oder orthografische Projektion</translation>
    </message>
    <message>
      <source>Point size</source>
      <translation>Punktgröße</translation>
    </message>
    <message>
      <source>Reading %1: %2</source>
      <translation>%1 wird gelesen: %2</translation>
    </message>
    <message>
      <source>Reading stopped; the model shown stays</source>
      <translation>Lesen abgebrochen; das gezeigte Modell bleibt</translation>
    </message>
    <message>
      <source>Remove the default mark from the stored views</source>
      <translation>Die Markierung als Standardansicht von den gespeicherten Ansichten entfernen</translation>
    </message>
    <message>
      <source>Rotate Clockwise</source>
      <translation>Im Uhrzeigersinn drehen</translation>
    </message>
    <message>
      <source>Rotate Counterclockwise</source>
      <translation>Gegen den Uhrzeigersinn drehen</translation>
    </message>
    <message>
      <source>Rotate Down</source>
      <translation>Nach unten drehen</translation>
    </message>
    <message>
      <source>Rotate Left</source>
      <translation>Nach links drehen</translation>
    </message>
    <message>
      <source>Rotate Right</source>
      <translation>Nach rechts drehen</translation>
    </message>
    <message>
      <source>Rotate Up</source>
      <translation>Nach oben drehen</translation>
    </message>
    <message>
      <source>Rotate...</source>
      <translation>Drehen...</translation>
    </message>
    <message>
      <source>Running without the view module: %1</source>
      <translation>Ohne das Ansichtsmodul gestartet: %1</translation>
    </message>
    <message>
      <source>S&amp;maller points</source>
      <translation>&amp;Kleinere Punkte</translation>
    </message>
    <message>
      <source>Sample assembly: %1</source>
      <translation>Beispielbaugruppe: %1</translation>
    </message>
    <message>
      <source>Save &amp;Views with Model...</source>
      <translation>&amp;Ansichten beim Modell speichern...</translation>
    </message>
    <message>
      <source>Save Views with Model</source>
      <translation>Ansichten beim Modell speichern</translation>
    </message>
    <message>
      <source>Show the default view, or +Isometric when none is set, with the model fitted</source>
      <translation>Die Standardansicht zeigen, oder +Isometrisch, wenn keine festgelegt ist, mit eingepasstem Modell</translation>
    </message>
    <message>
      <source>Size of the points of point clouds, in pixels:</source>
      <translation>Größe der Punkte von Punktwolken, in Pixeln:</translation>
    </message>
    <message>
      <source>Still reading the last models; open these when it is done</source>
      <translation>Die letzten Modelle werden noch gelesen; öffnen Sie diese danach</translation>
    </message>
    <message>
      <source>Stop</source>
      <translation>Abbrechen</translation>
    </message>
    <message>
      <source>Stop reading (%1)</source>
      <translation>Lesen abbrechen (%1)</translation>
    </message>
    <message>
      <source>Stopping the read...</source>
      <translation>Lesen wird abgebrochen...</translation>
    </message>
    <message>
      <source>Stored as "%1"</source>
      <translation>Gespeichert als „%1“</translation>
    </message>
    <message>
      <source>The Rotate dialog (View &gt; Control Dialog ...): rotate and move by steps</source>
      <translation>Der Dialog Drehen (Ansicht &gt; Steuerdialog ...): schrittweise drehen und verschieben</translation>
    </message>
    <message>
      <source>The Standard Views dialog (View &gt; Edit ...): create, apply and manage stored views</source>
      <translation>Der Dialog Standardansichten (Ansicht &gt; Bearbeiten ...): gespeicherte Ansichten anlegen, anwenden und verwalten</translation>
    </message>
    <message>
      <source>The camera before the last change</source>
      <translation>Die Kamera vor der letzten Änderung</translation>
    </message>
    <message>
      <source>The camera gone back from</source>
      <translation>Die Kamera, von der zurückgegangen wurde</translation>
    </message>
    <message>
      <source>The model has no views</source>
      <translation>Das Modell hat keine Ansichten</translation>
    </message>
    <message>
      <source>The size in pixels of the points of point clouds</source>
      <translation>Die Größe der Punkte von Punktwolken in Pixeln</translation>
    </message>
    <message>
      <source>The stored views are exported to %1</source>
      <translation>Die gespeicherten Ansichten sind nach %1 exportiert</translation>
    </message>
    <message>
      <source>The stored views are saved with the model in %1</source>
      <translation>Die gespeicherten Ansichten sind beim Modell in %1 gespeichert</translation>
    </message>
    <message>
      <source>The view "%1" of %2 could not be stored. No view was changed.</source>
      <translation>Die Ansicht „%1“ aus %2 konnte nicht gespeichert werden. Keine Ansicht wurde geändert.</translation>
    </message>
    <message>
      <source>The view module is not loaded</source>
      <translation>Das Ansichtsmodul ist nicht geladen</translation>
    </message>
    <message>
      <source>The views could not be exported to %1: %2</source>
      <translation>Die Ansichten konnten nicht nach %1 exportiert werden: %2</translation>
    </message>
    <message>
      <source>The views could not be saved to %1</source>
      <translation>Die Ansichten konnten nicht in %1 gespeichert werden</translation>
    </message>
    <message>
      <source>The views of %1 could not be stored. No view was changed.</source>
      <translation>Die Ansichten aus %1 konnten nicht gespeichert werden. Keine Ansicht wurde geändert.</translation>
    </message>
    <message>
      <source>There are no stored views to export</source>
      <translation>Es gibt keine gespeicherten Ansichten zum Exportieren</translation>
    </message>
    <message>
      <source>There are no stored views to save</source>
      <translation>Es gibt keine gespeicherten Ansichten zum Speichern</translation>
    </message>
    <message>
      <source>There is no stored view "%1"</source>
      <translation>Es gibt keine gespeicherte Ansicht „%1“</translation>
    </message>
    <message>
      <source>There is no stored view %1</source>
      <translation>Es gibt keine gespeicherte Ansicht %1</translation>
    </message>
    <message>
      <source>Transition duration</source>
      <translation>Übergangsdauer</translation>
    </message>
    <message>
      <source>Up locked to %1%2</source>
      <translation>Oben gesperrt auf %1%2</translation>
    </message>
    <message>
      <source>Up vector free</source>
      <translation>Aufwärtsvektor frei</translation>
    </message>
    <message>
      <source>View</source>
      <translation>Ansicht</translation>
    </message>
    <message>
      <source>View files (*.qjv *.reg *.pvcc *.pvcvbc);;All files (*)</source>
      <translation>Ansichtsdateien (*.qjv *.reg *.pvcc *.pvcvbc);;Alle Dateien (*)</translation>
    </message>
    <message>
      <source>View module loaded</source>
      <translation>Ansichtsmodul geladen</translation>
    </message>
    <message>
      <source>Views imported from %1</source>
      <translation>Ansichten aus %1 importiert</translation>
    </message>
    <message>
      <source>Views...</source>
      <translation>Ansichten...</translation>
    </message>
    <message>
      <source>ZUL Viewer</source>
      <translation>ZUL Viewer</translation>
    </message>
    <message>
      <source>ZUL Viewer - %1</source>
      <translation>ZUL Viewer - %1</translation>
    </message>
    <message>
      <source>ZUL Viewer - sample assembly</source>
      <translation>ZUL Viewer - Beispielbaugruppe</translation>
    </message>
    <message>
      <source>camera in the model</source>
      <translation>Kamera im Modell</translation>
    </message>
    <message>
      <source>loaded</source>
      <translation>geladen</translation>
    </message>
    <message>
      <source>not loaded</source>
      <translation>nicht geladen</translation>
    </message>
    <message>
      <source>saved with the model</source>
      <translation>beim Modell gespeichert</translation>
    </message>
  </context>
  <context>
    <name>NameDialog</name>
    <message>
      <source>&amp;Name:</source>
      <translation>&amp;Name:</translation>
    </message>
    <message>
      <source>Cancel</source>
      <translation>Abbrechen</translation>
    </message>
    <message>
      <source>OK</source>
      <translation>OK</translation>
    </message>
    <message>
      <source>View Name</source>
      <translation>Ansichtsname</translation>
    </message>
  </context>
  <context>
    <name>QObject</name>
    <message>
      <source>Align the camera</source>
      <translation>Kamera ausrichten</translation>
    </message>
    <message>
      <source>Stored views</source>
      <translation>Gespeicherte Ansichten</translation>
    </message>
    <message>
      <source>The view module is not loaded:
%1</source>
      <translation>Das Ansichtsmodul ist nicht geladen:
%1</translation>
    </message>
  </context>
  <context>
    <name>ViewCube</name>
    <message>
      <source>%1 corner: look along %2</source>
      <translation>Ecke %1: Blick entlang %2</translation>
    </message>
    <message>
      <source>%1 edge: look along %2</source>
      <translation>Kante %1: Blick entlang %2</translation>
    </message>
    <message>
      <source>%1 side: look along %2</source>
      <translation>Seite %1: Blick entlang %2</translation>
    </message>
    <message>
      <source>Back</source>
      <translation>Hinten</translation>
    </message>
    <message>
      <source>Bottom</source>
      <translation>Unten</translation>
    </message>
    <message>
      <source>Front</source>
      <translation>Vorne</translation>
    </message>
    <message>
      <source>Left</source>
      <translation>Links</translation>
    </message>
    <message>
      <source>Right</source>
      <translation>Rechts</translation>
    </message>
    <message>
      <source>Top</source>
      <translation>Oben</translation>
    </message>
    <message>
      <source>Turn the picture 90° clockwise</source>
      <translation>Das Bild um 90° im Uhrzeigersinn drehen</translation>
    </message>
    <message>
      <source>Turn the picture 90° counterclockwise</source>
      <translation>Das Bild um 90° gegen den Uhrzeigersinn drehen</translation>
    </message>
  </context>
  <context>
    <name>ViewEditDlg</name>
    <message>
      <source>&amp;Add...</source>
      <translation>&amp;Hinzufügen...</translation>
    </message>
    <message>
      <source>&amp;Delete</source>
      <translation>&amp;Löschen</translation>
    </message>
    <message>
      <source>&amp;Load...</source>
      <translation>La&amp;den...</translation>
    </message>
    <message>
      <source>&amp;Orthographic</source>
      <translation>&amp;Orthografisch</translation>
    </message>
    <message>
      <source>&amp;Perspective</source>
      <translation>&amp;Perspektivisch</translation>
    </message>
    <message>
      <source>&amp;Replace</source>
      <translation>&amp;Ersetzen</translation>
    </message>
    <message>
      <source>&amp;Save...</source>
      <translation>&amp;Speichern...</translation>
    </message>
    <message>
      <source>&amp;Up vector:</source>
      <translation>A&amp;ufwärtsvektor:</translation>
    </message>
    <message>
      <source>An&amp;gles:</source>
      <translation>&amp;Winkel:</translation>
    </message>
    <message>
      <source>Apply view</source>
      <translation>Ansicht anwenden</translation>
    </message>
    <message>
      <source>Au&amp;to-set</source>
      <translation>A&amp;utomatisch</translation>
    </message>
    <message>
      <source>Camera</source>
      <translation>Kamera</translation>
    </message>
    <message>
      <source>Close</source>
      <translation>Schließen</translation>
    </message>
    <message>
      <source>D</source>
      <translation>A</translation>
    </message>
    <message>
      <source>Field of &amp;View:</source>
      <translation>&amp;Sichtfeld:</translation>
    </message>
    <message>
      <source>Look &amp;at:</source>
      <translation>Blick &amp;auf:</translation>
    </message>
    <message>
      <source>Look &amp;from:</source>
      <translation>Blick &amp;von:</translation>
    </message>
    <message>
      <source>Move Down</source>
      <translation>Nach unten verschieben</translation>
    </message>
    <message>
      <source>Move Up</source>
      <translation>Nach oben verschieben</translation>
    </message>
    <message>
      <source>Orientation</source>
      <translation>Ausrichtung</translation>
    </message>
    <message>
      <source>Pick</source>
      <translation>Auswählen</translation>
    </message>
    <message>
      <source>Position</source>
      <translation>Position</translation>
    </message>
    <message>
      <source>Re&amp;name...</source>
      <translation>&amp;Umbenennen...</translation>
    </message>
    <message>
      <source>Set as &amp;default view</source>
      <translation>Als Standard&amp;ansicht festlegen</translation>
    </message>
    <message>
      <source>Standard Views</source>
      <translation>Standardansichten</translation>
    </message>
    <message>
      <source>U</source>
      <translation>H</translation>
    </message>
    <message>
      <source>X</source>
      <translation>X</translation>
    </message>
    <message>
      <source>Y</source>
      <translation>Y</translation>
    </message>
    <message>
      <source>Z</source>
      <translation>Z</translation>
    </message>
  </context>
  <context>
    <name>ViewNavigatorDlg</name>
    <message>
      <source>&amp;Edit...</source>
      <translation>&amp;Bearbeiten...</translation>
    </message>
    <message>
      <source>&amp;Step:</source>
      <translation>&amp;Schritt:</translation>
    </message>
    <message>
      <source>+X</source>
      <translation>+X</translation>
    </message>
    <message>
      <source>+Y</source>
      <translation>+Y</translation>
    </message>
    <message>
      <source>+Z</source>
      <translation>+Z</translation>
    </message>
    <message>
      <source>-X</source>
      <translation>-X</translation>
    </message>
    <message>
      <source>-Y</source>
      <translation>-Y</translation>
    </message>
    <message>
      <source>-Z</source>
      <translation>-Z</translation>
    </message>
    <message>
      <source>Align to -X-Axis</source>
      <translation>An der -X-Achse ausrichten</translation>
    </message>
    <message>
      <source>Align to -Y-Axis</source>
      <translation>An der -Y-Achse ausrichten</translation>
    </message>
    <message>
      <source>Align to -Z-Axis</source>
      <translation>An der -Z-Achse ausrichten</translation>
    </message>
    <message>
      <source>Align to X-Axis</source>
      <translation>An der X-Achse ausrichten</translation>
    </message>
    <message>
      <source>Align to Y-Axis</source>
      <translation>An der Y-Achse ausrichten</translation>
    </message>
    <message>
      <source>Align to Z-Axis</source>
      <translation>An der Z-Achse ausrichten</translation>
    </message>
    <message>
      <source>Close</source>
      <translation>Schließen</translation>
    </message>
    <message>
      <source>Rotate</source>
      <translation>Drehen</translation>
    </message>
    <message>
      <source>Rotate Clockwise</source>
      <translation>Im Uhrzeigersinn drehen</translation>
    </message>
    <message>
      <source>Rotate Counterclockwise</source>
      <translation>Gegen den Uhrzeigersinn drehen</translation>
    </message>
    <message>
      <source>Rotate Down</source>
      <translation>Nach unten drehen</translation>
    </message>
    <message>
      <source>Rotate Left</source>
      <translation>Nach links drehen</translation>
    </message>
    <message>
      <source>Rotate Right</source>
      <translation>Nach rechts drehen</translation>
    </message>
    <message>
      <source>Rotate Up</source>
      <translation>Nach oben drehen</translation>
    </message>
    <message>
      <source>°</source>
      <translation>°</translation>
    </message>
  </context>
</TS>
