#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>

#include "KrviewsFixture.h"

using Result = KrviewsResult;

TEST_F(Krviews, ListShowAndTheStandardViews) {
    Result list = run("list");
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(list.out, "1\t+X\n2\t+Y\n3\t+Z\n4\t-X\n5\t-Y\n6\t-Z\n7\t+Isometric\n8\t-Isometric\n");
    Result show = run("show +X");
    EXPECT_EQ(show.status, 0);
    EXPECT_EQ(
        show.out,
        "Name:+X\nUp:0 -1.03412e-13 1\nView:260.315 0 0\nType:0\nNum:1\nFrom:0 0 0\nAt:0 0 0\n"
        "Fov:28\nHasAtAndFrom:0\nChange:530\n");
    Result names = run("names");
    EXPECT_EQ(names.status, 0) << names.err;
    EXPECT_EQ(names.out, "+X;+Y;+Z;-X;-Y;-Z;+Isometric;-Isometric\n");
    Result minus = run("show -- -Z");
    EXPECT_EQ(minus.status, 0) << minus.err;
    EXPECT_NE(minus.out.find("View:0 0 -260.315\n"), std::string::npos);
    EXPECT_EQ(run("show Nothing").status, 1);
}

TEST_F(Krviews, ChangingViewsAndExitStatuses) {
    Result add = run("add Top --type persp --from 1,2,3 --at 0,0,0 --fov 40 --bits 0x2212");
    EXPECT_EQ(add.status, 0) << add.err;
    Result show = run("show Top");
    EXPECT_NE(
        show.out.find("Type:1\nNum:9\nFrom:1 2 3\nAt:0 0 0\nFov:40\nHasAtAndFrom:1\nChange:8722\n"),
        std::string::npos)
        << show.out;
    Result again = run("add Top");
    EXPECT_EQ(again.status, 1);
    EXPECT_NE(again.err.find("exists already"), std::string::npos) << again.err;

    EXPECT_EQ(run("edit Top --view 0,0,-5").status, 0);
    show = run("show Top");
    EXPECT_NE(show.out.find("View:0 0 -5\nType:1\nNum:9\nFrom:1 2 3\n"), std::string::npos)
        << show.out;
    EXPECT_EQ(run("edit Nothing --fov 3").status, 1);

    EXPECT_EQ(run("rename Top +X").status, 1) << "the new name is taken";
    EXPECT_EQ(run("rename Top Side").status, 0);
    EXPECT_EQ(run("rename Top Other").status, 1);
    EXPECT_EQ(run("default").status, 1);
    EXPECT_EQ(run("default Side").status, 0);
    EXPECT_EQ(run("default").out, "Side\n");
    EXPECT_NE(run("list").out.find("9\tSide\tdefault\n"), std::string::npos);
    EXPECT_EQ(run("default Nothing").status, 1);
    EXPECT_EQ(run("default --clear").status, 0);
    EXPECT_EQ(run("default").status, 1);
    EXPECT_EQ(run("delete -- -Y").status, 0);
    EXPECT_EQ(run("delete -- -Y").status, 1);

    EXPECT_EQ(run("add Q --type fish").status, 2);
    EXPECT_EQ(run("add Q --up 1,2").status, 2);
    EXPECT_EQ(run("add Q --fov wide").status, 2);
    EXPECT_EQ(run("frobnicate").status, 2);
    EXPECT_EQ(run("default Side --clear").status, 2);
    Result empty = run("add ''");
    EXPECT_EQ(empty.status, 3);
    EXPECT_NE(empty.err.find("E_INVALIDARG"), std::string::npos) << empty.err;
    for (const char* cmd :
         {"list", "show", "add", "edit", "rename", "delete", "default", "names", "save", "load"})
        EXPECT_EQ(run(std::string(cmd) + " --help").status, 0) << cmd;
}

TEST_F(Krviews, TheLimitAndADamagedHive) {
    std::string script;
    for (int i = 9; i <= 128; ++i)
        ASSERT_EQ(run("add V" + std::to_string(i)).status, 0) << i;
    Result full = run("add V129");
    EXPECT_EQ(full.status, 3);
    EXPECT_NE(full.err.find("E_UNEXPECTED"), std::string::npos) << full.err;
    EXPECT_EQ(run("show V129").status, 1);

    writeFile(userHive_, "this is not a registry hive");
    for (const char* cmd : {"list", "add X", "delete +X"}) {
        Result r = run(cmd);
        EXPECT_EQ(r.status, 3) << cmd;
        EXPECT_NE(r.err.find(userHive_), std::string::npos) << r.err;
    }
    EXPECT_EQ(readFile(userHive_), "this is not a registry hive");
}

TEST_F(Krviews, SaveAndLoadFiles) {
    const std::string qjv = (dir_ / "views.QJV").string(), reg = (dir_ / "views.reg").string();
    ASSERT_EQ(run("add 'Side view' --type persp --fov 35").status, 0);
    EXPECT_EQ(run("save '" + qjv + "'").status, 0);
    EXPECT_EQ(run("save '" + reg + "'").status, 0);
    EXPECT_EQ(readFile(qjv).substr(0, 2), "\xFF\xFE");
    EXPECT_EQ(readFile(reg).substr(0, 10), "REGEDIT4\n\n");
    const std::string txt = (dir_ / "views.txt").string();
    Result unknown = run("save '" + txt + "'");
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("The file, " + txt + ", is not a valid file."), std::string::npos)
        << unknown.err;
    EXPECT_EQ(run("save --type qjv '" + txt + "'").status, 0);

    ASSERT_EQ(run("delete 'Side view'").status, 0);
    EXPECT_EQ(run("load '" + qjv + "'").status, 0);
    EXPECT_NE(run("show 'Side view'").out.find("Fov:35\n"), std::string::npos);
    ASSERT_EQ(run("delete 'Side view'").status, 0);
    EXPECT_EQ(run("load --type reg '" + reg + "'").status, 0);
    EXPECT_NE(run("show 'Side view'").out.find("Fov:35\n"), std::string::npos);

    writeFile(txt, "not a view file\n");
    Result bad = run("load --type qjv '" + txt + "'");
    EXPECT_EQ(bad.status, 3);
    EXPECT_NE(bad.err.find("The file, " + txt + ", is not a valid file."), std::string::npos)
        << bad.err;
    Result foreign = run("load --type reg '" + txt + "'");
    EXPECT_EQ(foreign.status, 3);
    EXPECT_NE(foreign.err.find("was created in Windows and cannot be opened in UNIX."),
              std::string::npos);

    // With the resource module, the module speaks German; a folder without
    // one, or a path over the limit, leaves it English without a word.
    Result german = run("load --type qjv '" + txt + "'", "ZUL_RESPATH='" KRAV_RESOURCE_DIR "'");
    EXPECT_EQ(german.status, 3);
    EXPECT_NE(german.err.find("Die Datei " + txt + " ist keine g\u00fcltige Datei."),
              std::string::npos)
        << german.err;
    Result usage = run("load '" + txt + "'", "ZUL_RESPATH='" KRAV_RESOURCE_DIR "'");
    EXPECT_NE(usage.err.find("ist keine g\u00fcltige Datei."), std::string::npos) << usage.err;
    for (const std::string& respath :
         {dir_.string() + "/", std::string(KRAV_RESOURCE_DIR) + std::string(300, '/')}) {
        Result english = run("load --type qjv '" + txt + "'", "ZUL_RESPATH='" + respath + "'");
        EXPECT_NE(english.err.find("The file, " + txt + ", is not a valid file."),
                  std::string::npos)
            << english.err;
    }
}

// A host reaches the module through the registry only: a copy of krviews
// anywhere finds it, an unregistered module is reported, and KRAV_MODULE
// stands in for the registration.
TEST_F(Krviews, TheModuleIsFoundThroughTheRegistry) {
    const std::string copy = (dir_ / "krviews-copy").string();
    std::filesystem::copy_file(KRVIEWS_PATH, copy);
    Result names = run("names", "", copy);
    EXPECT_EQ(names.status, 0) << names.err;
    EXPECT_EQ(names.out, "+X;+Y;+Z;-X;-Y;-Z;+Isometric;-Isometric\n");

    // Another product's registration is not this host's.
    EXPECT_EQ(run("names", "ZUL_DEVELOPER_ENV=other").status, 3);

    const auto unreg = zul::test::runProgram("CURRENT_USER_INSTALL=1 " + std::string(ZULREG_PATH) +
                                             " regsvr -u '" + KRAV_MODULE_PATH + "'");
    ASSERT_EQ(unreg.status, 0);
    Result missing = run("names", "", copy);
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("no module is registered for product 'ZUL'"), std::string::npos)
        << missing.err;
    Result overridden = run("names", "KRAV_MODULE='" KRAV_MODULE_PATH "'", copy);
    EXPECT_EQ(overridden.status, 0) << overridden.err;
    EXPECT_EQ(overridden.out, names.out);
    Result wrong = run("names", "KRAV_MODULE=/nonexistent/KRAdvancedViews.so");
    EXPECT_EQ(wrong.status, 3);
    EXPECT_NE(wrong.err.find("/nonexistent/KRAdvancedViews.so"), std::string::npos) << wrong.err;
}

// The registered self-test passes every check and leaves the user's views
// exactly as they were.
TEST_F(Krviews, SelfTestPassesAndLeavesTheStoreAlone) {
    ASSERT_EQ(run("add Mine --from 1,2,3 --at 4,5,6").status, 0);
    ASSERT_EQ(run("delete +Y").status, 0);
    const std::string before = run("list").out;
    Result self = run("selftest");
    EXPECT_EQ(self.status, 0) << self.out << self.err;
    EXPECT_NE(self.out.find("passed  standard views\n"), std::string::npos) << self.out;
    EXPECT_NE(self.out.find("passed  create and apply a view\n"), std::string::npos) << self.out;
    EXPECT_NE(self.out.find("passed  view file round trip\n"), std::string::npos) << self.out;
    EXPECT_NE(self.out.find("5 passed, 0 failed\n"), std::string::npos) << self.out;
    EXPECT_EQ(run("list").out, before);
    const auto keys = zul::test::runProgram(std::string(ZULREG_PATH) +
                                            " list 'HKEY_CURRENT_USER\\Software\\ZUL'");
    EXPECT_EQ(keys.out, "KRAdvancedViews2\n") << "no scratch key is left behind";
}

// Names of any length are listed and saved: the store's layout is read in
// one place, without fixed-size buffers.
TEST_F(Krviews, LongNamesAreListedAndSavedInBothFileTypes) {
    const std::string medium(2000, 'm'), huge = std::string(100000, 'h') + "!";
    ASSERT_EQ(run("add " + medium).status, 0);
    ASSERT_EQ(run("add " + huge).status, 0);
    const Result list = run("list");
    EXPECT_NE(list.out.find("9\t" + medium + "\n"), std::string::npos);
    EXPECT_NE(list.out.find("10\t" + huge + "\n"), std::string::npos);
    const std::string qjv = (dir_ / "views.qjv").string(), reg = (dir_ / "views.reg").string();
    ASSERT_EQ(run("save '" + qjv + "'").status, 0);
    ASSERT_EQ(run("save '" + reg + "'").status, 0);
    auto utf16 = [](const std::string& ascii) {
        std::string out;
        for (char c : ascii)
            out += std::string{c, '\0'};
        return out;
    };
    const std::string qjvText = readFile(qjv), regText = readFile(reg);
    for (const std::string& name : {medium, huge}) {
        EXPECT_NE(qjvText.find(utf16("Name:" + name + "\n")), std::string::npos)
            << name.size() << " bytes, .qjv";
        EXPECT_NE(regText.find("\"View Name\"=\"" + name + "\"\n"), std::string::npos)
            << name.size() << " bytes, .reg";
    }
}

TEST_F(Krviews, RenderChecksItsArgumentsAndSaysWhenThereIsNoDisplay) {
    const std::string out = (dir_ / "out.png").string();
    EXPECT_EQ(run("render --view +X -o '" + out + "'").status, 2) << "neither a model nor --sample";
    EXPECT_EQ(run("render --sample --view +X --size 640 -o '" + out + "'").status, 2);
    Result headless = run("render --sample --view +X -o '" + out + "'", "env -u DISPLAY");
    EXPECT_EQ(headless.status, 3);
    EXPECT_NE(headless.err.find("xvfb-run"), std::string::npos) << headless.err;
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(Krviews, RenderDrawsOnePictureOrALabelledSheet) {
    // Under a virtual display, as on a machine without one. Leak checking is
    // off for the renderer: the GL driver is unloaded at exit and its blocks
    // cannot be told from ours.
    const std::string xvfb = "ASAN_OPTIONS=detect_leaks=0 xvfb-run -a";
    auto png = [](const std::string& path, unsigned& w, unsigned& h) {
        const std::string data = readFile(path);
        if (data.size() < 24 || data.compare(1, 3, "PNG") != 0) return false;
        auto be = [&](size_t at) {
            return unsigned(static_cast<unsigned char>(data[at])) << 24 |
                   unsigned(static_cast<unsigned char>(data[at + 1])) << 16 |
                   unsigned(static_cast<unsigned char>(data[at + 2])) << 8 |
                   unsigned(static_cast<unsigned char>(data[at + 3]));
        };
        w = be(16), h = be(20);
        return true;
    };
    const std::string one = (dir_ / "one.png").string(), sheet = (dir_ / "sheet.png").string();
    Result r = run("render --sample --view +X --size 200x150 -o '" + one + "'", xvfb);
    ASSERT_EQ(r.status, 0) << r.err;
    unsigned w = 0, h = 0;
    ASSERT_TRUE(png(one, w, h));
    EXPECT_EQ(w, 200u);
    EXPECT_EQ(h, 150u) << "a single picture has no label";
    r = run("render --sample --view +X --view -Y --view +Isometric --size 200x150 -o '" + sheet +
                "'",
            xvfb);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(png(sheet, w, h));
    EXPECT_EQ(w, 400u) << "two columns";
    EXPECT_EQ(h, 2u * (150u + 24u)) << "two rows, each with its label band";
    EXPECT_EQ(run("render --sample --view Nowhere -o '" + sheet + "'", xvfb).status, 1)
        << "nothing to show";
    EXPECT_EQ(
        run("sheet '" + (dir_ / "missing.stl").string() + "' -o '" + sheet + "'", xvfb).status, 3);

    // Files VTK's PLY reader crashes or aborts on: a message and a failing status
    // where nothing can be drawn.
    const std::string shortPly = (dir_ / "x.ply").string(), noFaces = (dir_ / "faces.ply").string();
    std::FILE* f = std::fopen(shortPly.c_str(), "w");
    std::fputs("ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nend_header\n1\n2\n", f);
    std::fclose(f);
    f = std::fopen(noFaces.c_str(), "w");
    std::fputs(
        "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty "
        "float z\n"
        "element face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n",
        f);
    std::fclose(f);
    r = run("render '" + shortPly + "' --view +X -o '" + one + "'", xvfb);
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("x.ply: not a PLY file that can be read: the header declares 3 vertex "
                         "elements, but the data ends after 2"),
              std::string::npos)
        << r.err;
    // Its vertices are all there, its one face is not: drawn, and said.
    r = run("render '" + noFaces + "' --view +X -o '" + one + "'", xvfb);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("faces.ply: The file ends before its header says: it holds 0 of 1 faces."),
              std::string::npos)
        << r.err;

    // A view looking along its own up: kept, with a warning, and drawn.
    r = run("add P --up 0,0,1 --view 0,0,5");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("warning: the up vector is parallel to the view vector"),
              std::string::npos)
        << r.err;
    r = run("render --sample --view P --size 200x150 -o '" + one + "'", xvfb);
    EXPECT_EQ(r.status, 0) << r.err;
}

// Names a .reg export cannot carry are kept, with a warning where they come
// in and where a .reg file would damage them; a rename checks and renames
// in one step, so two at once never make two views of one name.
TEST_F(Krviews, NamesThatCannotTravelAndRacingRenames) {
    Result add = run("add 'Say \"cheese\"'");
    EXPECT_EQ(add.status, 0);
    EXPECT_NE(add.err.find("cannot travel in a .reg file (it holds a quote or a backslash)"),
              std::string::npos)
        << add.err;
    const std::string longName(250, 'n');
    EXPECT_NE(run("add " + longName).err.find("longer than the 255 a reader takes"),
              std::string::npos);
    EXPECT_EQ(run("add Plain").err, "");
    const std::string reg = (dir_ / "views.reg").string();
    Result save = run("save '" + reg + "'");
    EXPECT_EQ(save.status, 0);
    EXPECT_NE(save.err.find("view 'Say \"cheese\"' is not written faithfully"), std::string::npos)
        << save.err;
    EXPECT_NE(save.err.find("view '" + longName + "' is not written faithfully"),
              std::string::npos);
    EXPECT_EQ(save.err.find("'Plain'"), std::string::npos);

    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(run("add A").status, 0);
        ASSERT_EQ(run("add B").status, 0);
        const std::string one =
            "'" + std::string(KRVIEWS_PATH) + "' --hive '" + userHive_ + "' rename ";
        const auto both = zul::test::runProgram("(" + one + "A C >/dev/null 2>&1 & " + one +
                                                "B C >/dev/null 2>&1 & wait); " +
                                                one.substr(0, one.size() - 7) + "list");
        size_t named = 0;
        for (size_t at = both.out.find("\tC"); at != std::string::npos;
             at = both.out.find("\tC", at + 1))
            named += both.out.compare(at, 3, "\tC\n") == 0 || both.out.compare(at, 3, "\tC\t") == 0;
        ASSERT_EQ(named, 1u) << both.out;
        run("delete C");
        run("delete A");
        run("delete B");
    }
}

// A view export imported with zulreg into another store never overwrites a
// view there: a section landing on a key that holds another view goes to a
// free key, and every imported view comes back whole.
TEST_F(Krviews, ImportingAViewExportNeverDestroysAView) {
    ASSERT_EQ(run("add 'From A' --view 0,1,0 --up 0,0,1 --fov 40").status, 0);
    const std::string file = (dir_ / "a.reg").string();
    ASSERT_EQ(run("save '" + file + "'").status, 0);
    const Result fromA = run("show 'From A'");

    const std::string other = (dir_ / "other.db").string();
    auto inOther = [&](const std::string& args) {
        Result r;
        static_cast<zul::test::ProgramResult&>(r) =
            zul::test::runProgram("'" KRVIEWS_PATH "' --hive '" + other + "' " + args + " 2>&1");
        return r;
    };
    // Registered for this user too (the registration lives in the hive).
    ASSERT_EQ(zul::test::runProgram("ZUL_USER_HIVE='" + other + "' CURRENT_USER_INSTALL=1 '" +
                                    std::string(ZULREG_PATH) + "' regsvr '" + KRAV_MODULE_PATH +
                                    "'")
                  .status,
              0);
    ASSERT_EQ(inOther("add 'Only in B' --view 0,0,1 --up 1,0,0").status, 0);
    const Result onlyB = inOther("show 'Only in B'");
    const auto imported =
        zul::test::runProgram("ZUL_USER_HIVE='" + other + "' '" + std::string(ZULREG_PATH) +
                              "' import '" + file + "' 2>&1");
    ASSERT_EQ(imported.status, 0) << imported.out;
    EXPECT_NE(imported.out.find("the view 'From A'"), std::string::npos) << imported.out;
    EXPECT_NE(imported.out.find("holds the view 'Only in B'"), std::string::npos) << imported.out;
    EXPECT_EQ(inOther("show 'Only in B'").out, onlyB.out) << "the view there is untouched";
    // The imported view, taken in by the store at its start, is whole: its
    // index aside, which the merge gives it, and the points flag, which the
    // export does not carry.
    const std::string shown = inOther("show 'From A'").out;
    auto carried = [](std::string s) {
        for (const char* key : {"Num:", "HasAtAndFrom:"}) {
            const size_t at = s.find(key);
            if (at != std::string::npos) s.erase(at, s.find('\n', at) - at);
        }
        return s;
    };
    EXPECT_EQ(carried(shown), carried(fromA.out));
}

// zulreg import into the store key keeps the store's rules: another store's
// default does not make a second one, a plain export of another hive's store
// lands on no view of this one, and a damaged merge tag is no way around that.
TEST_F(Krviews, ImportsIntoTheStoreKeepItsRules) {
    const std::string other = (dir_ / "other.db").string();
    const std::string zulreg = std::string(ZULREG_PATH);
    auto inOther = [&](const std::string& args) {
        return zul::test::runProgram("'" KRVIEWS_PATH "' --hive '" + other + "' " + args + " 2>&1");
    };
    auto import = [&](const std::string& file) {
        return zul::test::runProgram("ZUL_USER_HIVE='" + userHive_ + "' '" + zulreg + "' import '" +
                                     file + "' 2>&1");
    };
    auto defaults = [&] {
        std::string marked;
        std::istringstream list(run("list").out);
        for (std::string line; std::getline(list, line);)
            if (line.size() > 8 && line.compare(line.size() - 8, 8, "\tdefault") == 0)
                marked +=
                    line.substr(line.find('\t') + 1, line.size() - 8 - line.find('\t') - 1) + ";";
        return marked;
    };
    ASSERT_EQ(zul::test::runProgram("ZUL_USER_HIVE='" + other + "' CURRENT_USER_INSTALL=1 '" +
                                    zulreg + "' regsvr '" + KRAV_MODULE_PATH + "'")
                  .status,
              0);
    ASSERT_EQ(run("add Mine --view 0,1,0 --fov 41").status, 0);
    ASSERT_EQ(run("default +X").status, 0);
    const std::string mine = run("show Mine").out;
    ASSERT_EQ(inOther("add Theirs --view 1,1,1 --fov 17").status, 0);
    ASSERT_EQ(inOther("default Theirs").status, 0);

    // A saved view file of the other store: its default stays behind.
    const std::string saved = (dir_ / "theirs.reg").string();
    ASSERT_EQ(inOther("save '" + saved + "'").status, 0);
    auto r = import(saved);
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("came in without its default mark: '+X' is the default view"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(defaults(), "+X;");
    EXPECT_EQ(run("show Mine").out, mine);
    EXPECT_NE(run("show Theirs").out.find("Fov:17\n"), std::string::npos);

    // A damaged tag on a view of a new name bound for Mine's key.
    ASSERT_EQ(inOther("rename Theirs Stranger").status, 0);
    const std::string damaged = (dir_ / "damaged.reg").string();
    ASSERT_EQ(inOther("save '" + damaged + "'").status, 0);
    std::string text = readFile(damaged);
    const size_t tag = text.find("@=\"Merged\"", text.find("VIEW_0009"));
    ASSERT_NE(tag, std::string::npos) << text;
    text[tag + 5] ^= 0x01; // "Merged" -> "Mesged"
    writeFile(damaged, text);
    r = import(damaged);
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("carries the tag 'Mesged'"), std::string::npos) << r.out;
    EXPECT_EQ(run("show Mine").out, mine) << "Mine is untouched";
    EXPECT_NE(run("show Stranger").out.find("Fov:17\n"), std::string::npos);

    // The other hive's whole store key, exported without merge tags: every
    // view comes in, none over Mine, and the imported store's default wins.
    const std::string whole = (dir_ / "whole.reg").string();
    ASSERT_EQ(zul::test::runProgram(
                  "ZUL_USER_HIVE='" + other + "' '" + zulreg +
                  "' export 'HKEY_CURRENT_USER\\Software\\ZUL\\KRAdvancedViews2' '" + whole + "'")
                  .status,
              0);
    ASSERT_EQ(inOther("default Stranger").status, 0);
    r = import(whole);
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("taken in as merged views"), std::string::npos) << r.out;
    EXPECT_EQ(run("show Mine").out, mine);
    EXPECT_EQ(defaults(), "Stranger;") << r.out;
    const std::string list = run("list").out;
    for (const char* name : {"Mine", "Theirs", "Stranger", "+X", "-Isometric"})
        EXPECT_NE(list.find(std::string("\t") + name), std::string::npos) << name << "\n" << list;
}

// move and delete of several names are the Standard Views dialog's Move
// up/down and multiple delete: each view keeps its record, the list stays
// 1..n, and what could not be done is said with exit status 1.
TEST_F(Krviews, MoveAndDeleteSeveralKeepTheListWhole) {
    Result r = run("move +Y up");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(run("list").out.substr(0, 10), "1\t+Y\n2\t+X\n");
    const std::string moved = run("show +Y").out;
    EXPECT_NE(moved.find("View:0 260.315 0\nType:0\nNum:1\n"), std::string::npos) << moved;
    r = run("move +Y up");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("'+Y' is the first view already"), std::string::npos) << r.err;
    EXPECT_EQ(run("move -- -Isometric down").status, 1);
    EXPECT_EQ(run("move Nothing down").status, 1);
    EXPECT_EQ(run("move +Y sideways").status, 2);

    r = run("delete -- +X -Y Nothing -Z");
    EXPECT_EQ(r.status, 1) << "one name was not there";
    EXPECT_NE(r.err.find("there is no view 'Nothing'"), std::string::npos) << r.err;
    EXPECT_EQ(run("list").out, "1\t+Y\n2\t+Z\n3\t-X\n4\t+Isometric\n5\t-Isometric\n");
    EXPECT_EQ(run("delete +Y +Z").status, 0);
    EXPECT_EQ(run("list").out, "1\t-X\n2\t+Isometric\n3\t-Isometric\n");
}
